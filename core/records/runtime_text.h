// RuntimeText: a run-time text of a record that is empty in almost every stored object. A
// record keeps its texts in string records; its text members are filled only in the copies
// that editors and views work on. An empty RuntimeText is one pointer (8 bytes) instead of the
// 32 bytes of an empty std::wstring, which matters for a million transactions in memory.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace vemra {

class RuntimeText {
 public:
  RuntimeText() = default;
  RuntimeText(std::wstring text) { *this = std::move(text); }  // NOLINT: reads like a string
  RuntimeText(const wchar_t* text) : RuntimeText(std::wstring(text)) {}  // NOLINT
  RuntimeText(const RuntimeText& other) { *this = other; }
  RuntimeText(RuntimeText&&) noexcept = default;
  RuntimeText& operator=(const RuntimeText& other) {
    if (this != &other) *this = other.str();
    return *this;
  }
  RuntimeText& operator=(RuntimeText&&) noexcept = default;
  RuntimeText& operator=(std::wstring text) {
    if (text.empty()) {
      text_.reset();
    } else {
      text_ = std::make_unique<std::wstring>(std::move(text));
    }
    return *this;
  }
  RuntimeText& operator=(const wchar_t* text) { return *this = std::wstring(text); }

  // The text; a reference to a shared empty string when there is none.
  const std::wstring& str() const { return text_ ? *text_ : Empty(); }
  operator const std::wstring&() const { return str(); }  // NOLINT: reads like a string
  bool empty() const { return !text_ || text_->empty(); }
  size_t size() const { return text_ ? text_->size() : 0; }
  const wchar_t* c_str() const { return str().c_str(); }
  void clear() { text_.reset(); }

  friend bool operator==(const RuntimeText& a, const RuntimeText& b) { return a.str() == b.str(); }
  friend bool operator==(const RuntimeText& a, const std::wstring& b) { return a.str() == b; }
  friend bool operator==(const RuntimeText& a, const wchar_t* b) { return a.str() == b; }

 private:
  static const std::wstring& Empty() {
    static const std::wstring empty;
    return empty;
  }
  std::unique_ptr<std::wstring> text_;
};

}  // namespace vemra
