#include "import/receipts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <new>
#include <nlohmann/json.hpp>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include "collections/book.h"
#include "collections/category_path.h"
#include "collections/interfaces.h"
#include "core/records/dates.h"
#include "platform/unicode.h"

namespace vemra::import {
namespace {

using Json = nlohmann::json;

constexpr char kNotObject[] = "not a JSON object";
constexpr int64_t kInt32Min = std::numeric_limits<int32_t>::min();
constexpr int64_t kInt32Max = std::numeric_limits<int32_t>::max();

// ---- Values as the receipt keeps them ----

// A JSON value at a place the receipt reads: its type and, for a number, the number. Containers
// and literals count only as "present, of another type".
struct Number {
  enum Kind : uint8_t { kAbsent, kSigned, kUnsigned, kFloat, kString, kOther } kind = kAbsent;
  union {
    int64_t i;
    uint64_t u;
    double f = 0;
  };

  bool IsNumber() const { return kind == kSigned || kind == kUnsigned || kind == kFloat; }
  bool IsInteger() const { return kind == kSigned || kind == kUnsigned; }
  double Get() const {
    return kind == kSigned     ? static_cast<double>(i)
           : kind == kUnsigned ? static_cast<double>(u)
                               : f;
  }
};

// The same with the text of a string.
struct Value : Number {
  std::string s;
};

Value Other() {
  Value v;
  v.kind = Value::kOther;
  return v;
}

// The receipt keys read. "ecashTotalSum" is part of every export but changes nothing here.
enum Field : uint8_t {
  kUser,
  kShopName,
  kRetailPlaceAddress,
  kShopAddress,
  kDateTime,
  kDate,
  kCashTotalSum,
  kTotalSum,
  kFiscalDocumentNumber,
  kItems,
  kProducts,
  kFieldCount
};
constexpr std::array<std::string_view, kFieldCount> kFieldNames = {
    "user",         "shopName", "retailPlaceAddress",   "shopAddress", "dateTime", "date",
    "cashTotalSum", "totalSum", "fiscalDocumentNumber", "items",       "products"};

enum ItemField : uint8_t { kName, kSum, kQuantity, kItemFieldCount };
constexpr std::array<std::string_view, kItemFieldCount> kItemFieldNames = {"name", "sum",
                                                                           "quantity"};

struct RawItem {
  Value name;
  Number sum, quantity;

  void Set(uint8_t field, Value&& v) {
    if (field == kName) {
      name = std::move(v);
    } else {
      (field == kSum ? sum : quantity) = v;
    }
  }
};

// The keys of one receipt object as read so far; a later duplicate key replaces an earlier one,
// as a JSON object would.
struct RawReceipt {
  std::array<Value, kFieldCount> fields;
  // The items under "items" (0) and "products" (1), and whether the key's value was an array.
  std::array<std::vector<RawItem>, 2> lists;
  std::array<bool, 2> is_array{};
  // Items were left out because the file's item budget ran out.
  std::array<bool, 2> overflow{};
};

// ---- Reading the texts ----

// Reads a run of `min`..`max` digits at `i`; a longer run is no field.
bool Digits(std::string_view s, size_t& i, size_t min, size_t max, int& value) {
  size_t end = i;
  while (end < s.size() && s[end] >= '0' && s[end] <= '9') ++end;
  if (end - i < min || end - i > max) return false;
  value = 0;
  for (; i < end; ++i) value = value * 10 + (s[i] - '0');
  return true;
}

bool Expect(std::string_view s, size_t& i, char c) {
  if (i >= s.size() || s[i] != c) return false;
  ++i;
  return true;
}

// The day and time of the given fields, when each is in range and the day lies in
// 1970-01-01 .. 9999-12-31.
bool Compose(int year, int month, int day, int hour, int minute, int second, ADate& date,
             ATime& time) {
  if (year < 1970 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month - 1) || hour > 23 || minute > 59 || second > 59) {
    return false;
  }
  date = MakeADate(year, month - 1, day);
  time = static_cast<ATime>((hour * 3600 + minute * 60 + second) * 1000);
  return true;
}

// "YYYY-M-DTH:M[:S]", every field but the year one or two digits; whatever follows (a zone, a
// fraction) is not applied.
bool ParseIsoDateTime(std::string_view s, ADate& date, ATime& time) {
  size_t i = 0;
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (!Digits(s, i, 4, 4, year) || !Expect(s, i, '-') || !Digits(s, i, 1, 2, month) ||
      !Expect(s, i, '-') || !Digits(s, i, 1, 2, day) || !Expect(s, i, 'T') ||
      !Digits(s, i, 1, 2, hour) || !Expect(s, i, ':') || !Digits(s, i, 1, 2, minute)) {
    return false;
  }
  if (i + 1 < s.size() && s[i] == ':' && s[i + 1] >= '0' && s[i + 1] <= '9') {
    ++i;
    if (!Digits(s, i, 1, 2, second)) return false;
  }
  return Compose(year, month, day, hour, minute, second, date, time);
}

// "D.M.YY H:M": two-digit years 69..99 are 1969..1999, 00..68 are 2000..2068.
bool ParseDotDate(std::string_view s, ADate& date, ATime& time) {
  size_t i = 0;
  int year = 0, month = 0, day = 0, hour = 0, minute = 0;
  if (!Digits(s, i, 1, 2, day) || !Expect(s, i, '.') || !Digits(s, i, 1, 2, month) ||
      !Expect(s, i, '.') || !Digits(s, i, 2, 2, year) || !Expect(s, i, ' ')) {
    return false;
  }
  while (i < s.size() && s[i] == ' ') ++i;
  if (!Digits(s, i, 1, 2, hour) || !Expect(s, i, ':') || !Digits(s, i, 1, 2, minute)) {
    return false;
  }
  year += year >= 69 ? 1900 : 2000;
  return Compose(year, month, day, hour, minute, 0, date, time);
}

// Seconds since 1970-01-01 00:00 (counted as UTC), within 1970-01-01 .. 9999-12-31.
bool FromSeconds(const Value& v, ADate& date, ATime& time) {
  static const double kEnd = (static_cast<double>(MakeADate(9999, 11, 31).Val) + 1) * 86400;
  const double seconds = v.Get();
  if (!(seconds >= 0 && seconds < kEnd)) return false;
  const int64_t whole = v.kind == Value::kSigned     ? v.i
                        : v.kind == Value::kUnsigned ? static_cast<int64_t>(v.u)
                                                     : static_cast<int64_t>(v.f);
  date = ADate(static_cast<int32_t>(whole / 86400));
  time = static_cast<ATime>(whole % 86400 * 1000);
  return true;
}

// The text of a string value, control characters turned into spaces so that a name never breaks
// a line or a list row.
std::wstring Text(const std::string& utf8) {
  std::wstring text = Utf8ToWide(utf8);  // the parser has checked the bytes
  for (wchar_t& c : text) {
    if (c < 0x20 || c == 0x7F) c = L' ';
  }
  return text;
}

std::string Show(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.15g", v);
  return text;
}

bool WithinLimit(double v) {
  return std::fabs(v) < kReceiptAmountLimit;  // false for NaN as well
}

// ---- The reader ----

// Reads the receipts as the parser meets the values, without building the document: each element
// of the top-level array is turned into a receipt (or skipped) when it ends, so memory holds one
// element at a time besides what was read, and arrays of many objects cost linear time. Only the
// keys of the layouts are kept; every other value is passed over.
class ReceiptReader {
 public:
  explicit ReceiptReader(ReceiptFile& file) : file_(file) {}

  const std::string& problem() const { return problem_; }

  // The parser's events (nlohmann's SAX interface). Returning false stops the parse.
  bool null() { return Scalar(Other()); }
  bool boolean(bool) { return Scalar(Other()); }
  bool number_integer(Json::number_integer_t v) {
    Value x;
    x.kind = Value::kSigned;
    x.i = v;
    return Scalar(std::move(x));
  }
  bool number_unsigned(Json::number_unsigned_t v) {
    Value x;
    x.kind = Value::kUnsigned;
    x.u = v;
    return Scalar(std::move(x));
  }
  bool number_float(Json::number_float_t v, const std::string&) {
    Value x;
    x.kind = Value::kFloat;
    x.f = v;
    return Scalar(std::move(x));
  }
  bool string(std::string& v) {
    // Most strings of an export are read by nothing; and a copy leaves the parser its buffer.
    if (Unread()) return true;
    Value x;
    x.kind = Value::kString;
    x.s = v;
    return Scalar(std::move(x));
  }
  bool binary(Json::binary_t&) { return Scalar(Other()); }
  bool start_object(size_t) { return Start(true); }
  bool start_array(size_t) { return Start(false); }
  bool end_object() { return End(); }
  bool end_array() { return End(); }
  bool key(std::string& k);
  bool parse_error(size_t, const std::string&, const Json::exception& e);

 private:
  // The part of a layout an open array or object is.
  enum class Role : uint8_t {
    kIgnore,          // nothing inside is read
    kTopArray,        // the file's top-level array
    kElement,         // a top-level element (or the single top-level object); also a receipt
    kDocument,        // element.document
    kTicket,          // element.ticket
    kTicketDocument,  // element.ticket.document
    kReceipt,         // element.document.receipt or element.ticket.document.receipt
    kList,            // a receipt's "items" or "products" array
    kItem,            // one item of such a list
  };
  struct Frame {
    Role role = Role::kIgnore;
    uint8_t receipt = 0;  // for kElement, kReceipt, kList and kItem: which RawReceipt
    uint8_t list = 0;     // for kList and kItem: items (0) or products (1)
  };
  // What the next value is, decided by its key or its array.
  enum class Slot : uint8_t {
    kNone,
    kRoot,
    kTopElement,
    kDocument,
    kTicket,
    kDocumentReceipt,
    kTicketDocument,
    kTicketReceipt,
    kField,
    kListElement,
    kItemField,
  };
  // The receipts one element may hold: itself (0), under document (1), under ticket (2).
  struct Element {
    size_t index = 0;
    std::array<RawReceipt, 3> receipts;
    bool has_document = false, has_ticket = false;
    bool document_receipt = false, ticket_receipt = false;  // found at the path's end
    std::array<bool, 3> touched{};                          // receipts written to
  };

  // Whether the next value lands where nothing is read; if so, it is passed over.
  bool Unread() {
    if (stack_.empty()) return false;
    const Role role = stack_.back().role;
    if (role == Role::kTopArray || role == Role::kList) return false;
    return role == Role::kIgnore || key_slot_ == Slot::kNone;
  }
  Slot TakeSlot(uint8_t& field);
  RawReceipt& Touch(uint8_t which) {
    element_.touched[which] = true;
    return element_.receipts[which];
  }
  bool Scalar(Value&& v);
  bool Start(bool is_object);
  bool End();
  void SetField(const Frame& frame, uint8_t field, Value&& v);
  void ClearList(RawReceipt& r, int list);
  void FinishElement();
  void Convert(RawReceipt& r, size_t index);
  void Skip(size_t index, std::string reason);

  ReceiptFile& file_;
  std::string problem_;
  std::vector<Frame> stack_;
  Slot key_slot_ = Slot::kNone;
  uint8_t key_field_ = 0;
  size_t next_index_ = 0;
  Element element_;
  size_t held_ = 0;       // raw items held by element_
  size_t converted_ = 0;  // items of the receipts taken so far
};

ReceiptReader::Slot ReceiptReader::TakeSlot(uint8_t& field) {
  if (stack_.empty()) return Slot::kRoot;
  switch (stack_.back().role) {
    case Role::kTopArray:
      return Slot::kTopElement;
    case Role::kList:
      return Slot::kListElement;
    case Role::kIgnore:
      return Slot::kNone;
    default: {
      const Slot slot = key_slot_;
      key_slot_ = Slot::kNone;
      field = key_field_;
      return slot;
    }
  }
}

bool ReceiptReader::key(std::string& k) {
  key_slot_ = Slot::kNone;
  auto find = [&](const auto& names, Slot slot) {
    for (size_t i = 0; i < names.size(); ++i) {
      if (names[i] == k) {
        key_slot_ = slot;
        key_field_ = static_cast<uint8_t>(i);
        return;
      }
    }
  };
  switch (stack_.back().role) {
    case Role::kElement:
      if (k == "document") {
        key_slot_ = Slot::kDocument;
      } else if (k == "ticket") {
        key_slot_ = Slot::kTicket;
      } else {
        find(kFieldNames, Slot::kField);
      }
      break;
    case Role::kDocument:
      if (k == "receipt") key_slot_ = Slot::kDocumentReceipt;
      break;
    case Role::kTicket:
      if (k == "document") key_slot_ = Slot::kTicketDocument;
      break;
    case Role::kTicketDocument:
      if (k == "receipt") key_slot_ = Slot::kTicketReceipt;
      break;
    case Role::kReceipt:
      find(kFieldNames, Slot::kField);
      break;
    case Role::kItem:
      find(kItemFieldNames, Slot::kItemField);
      break;
    default:
      break;
  }
  return true;
}

void ReceiptReader::ClearList(RawReceipt& r, int list) {
  held_ -= r.lists[list].size();
  r.lists[list] = {};
  r.is_array[list] = false;
  r.overflow[list] = false;
}

void ReceiptReader::SetField(const Frame& frame, uint8_t field, Value&& v) {
  RawReceipt& r = Touch(frame.receipt);
  if (field == kItems || field == kProducts) {
    ClearList(r, field - kItems);  // a list key that holds no array gives no items
    return;
  }
  r.fields[field] = std::move(v);
}

bool ReceiptReader::Scalar(Value&& v) {
  uint8_t field = 0;
  const Slot slot = TakeSlot(field);
  switch (slot) {
    case Slot::kRoot:
      Skip(0, kNotObject);
      break;
    case Slot::kTopElement:
      Skip(next_index_++, kNotObject);
      break;
    case Slot::kDocument:
      element_.has_document = true;
      element_.document_receipt = false;
      break;
    case Slot::kTicket:
      element_.has_ticket = true;
      element_.ticket_receipt = false;
      break;
    case Slot::kDocumentReceipt:
      element_.document_receipt = false;
      break;
    case Slot::kTicketDocument:
    case Slot::kTicketReceipt:
      element_.ticket_receipt = false;
      break;
    case Slot::kField:
      SetField(stack_.back(), field, std::move(v));
      break;
    case Slot::kItemField: {
      const Frame& f = stack_.back();
      element_.receipts[f.receipt].lists[f.list].back().Set(field, std::move(v));
      break;
    }
    default:
      break;
  }
  return true;
}

bool ReceiptReader::Start(bool is_object) {
  if (stack_.size() >= static_cast<size_t>(kMaxReceiptNesting)) {
    problem_ = "nested deeper than " + std::to_string(kMaxReceiptNesting) + " levels";
    return false;
  }
  uint8_t field = 0;
  const Slot slot = TakeSlot(field);
  const Frame parent = stack_.empty() ? Frame() : stack_.back();
  Frame frame;
  auto begin_element = [&](size_t index) {
    // Only the receipts written to are cleared: an export may hold millions of elements.
    for (uint8_t k = 0; k < element_.receipts.size(); ++k) {
      if (element_.touched[k]) element_.receipts[k] = RawReceipt();
    }
    element_.touched = {};
    element_.index = index;
    element_.has_document = element_.has_ticket = false;
    element_.document_receipt = element_.ticket_receipt = false;
    held_ = 0;
    frame.role = Role::kElement;
  };
  auto begin_receipt = [&](uint8_t which) {
    RawReceipt& r = Touch(which);
    ClearList(r, 0);
    ClearList(r, 1);
    r = RawReceipt();
    frame.role = Role::kReceipt;
    frame.receipt = which;
  };
  switch (slot) {
    case Slot::kRoot:
      if (is_object) {
        begin_element(0);
      } else {
        frame.role = Role::kTopArray;
      }
      break;
    case Slot::kTopElement: {
      const size_t index = next_index_++;
      if (is_object) {
        begin_element(index);
      } else {
        Skip(index, kNotObject);
      }
      break;
    }
    case Slot::kDocument:
      element_.has_document = true;
      element_.document_receipt = false;
      if (is_object) frame.role = Role::kDocument;
      break;
    case Slot::kTicket:
      element_.has_ticket = true;
      element_.ticket_receipt = false;
      if (is_object) frame.role = Role::kTicket;
      break;
    case Slot::kDocumentReceipt:
      element_.document_receipt = is_object;
      if (is_object) begin_receipt(1);
      break;
    case Slot::kTicketDocument:
      element_.ticket_receipt = false;
      if (is_object) frame.role = Role::kTicketDocument;
      break;
    case Slot::kTicketReceipt:
      element_.ticket_receipt = is_object;
      if (is_object) begin_receipt(2);
      break;
    case Slot::kField:
      SetField(parent, field, Other());
      if (!is_object && (field == kItems || field == kProducts)) {
        const int list = field - kItems;
        Touch(parent.receipt).is_array[list] = true;
        frame = {Role::kList, parent.receipt, static_cast<uint8_t>(list)};
      }
      break;
    case Slot::kListElement:
      if (is_object) {
        RawReceipt& r = Touch(parent.receipt);
        if (converted_ + held_ >= kMaxReceiptItems) {
          r.overflow[parent.list] = true;
        } else {
          r.lists[parent.list].emplace_back();
          ++held_;
          frame = {Role::kItem, parent.receipt, parent.list};
        }
      }
      break;
    case Slot::kItemField:
      element_.receipts[parent.receipt].lists[parent.list].back().Set(field, Other());
      break;
    default:
      break;
  }
  stack_.push_back(frame);
  return true;
}

bool ReceiptReader::End() {
  const Role role = stack_.back().role;
  stack_.pop_back();
  if (role == Role::kElement) FinishElement();
  return true;
}

void ReceiptReader::FinishElement() {
  Element& e = element_;
  if (e.has_document) {
    if (e.document_receipt) {
      Convert(e.receipts[1], e.index);
    } else {
      Skip(e.index, "no receipt under \"document\"");
    }
  } else if (e.has_ticket) {
    if (e.ticket_receipt) {
      Convert(e.receipts[2], e.index);
    } else {
      Skip(e.index, "no receipt under \"ticket\" / \"document\"");
    }
  } else {
    Convert(e.receipts[0], e.index);
  }
  held_ = 0;
}

void ReceiptReader::Convert(RawReceipt& r, size_t index) {
  const int list = r.is_array[0] ? 0 : r.is_array[1] ? 1 : -1;
  if (list < 0 || r.lists[list].empty()) {
    Skip(index, list >= 0 && r.overflow[list]
                    ? "more than " + std::to_string(kMaxReceiptItems) + " items in the file"
                    : "no items");
    return;
  }
  if (r.overflow[list]) {
    Skip(index, "more than " + std::to_string(kMaxReceiptItems) + " items in the file");
    return;
  }
  Receipt out;
  out.Index = index;
  TSplit& s = out.Split;
  s.Data.FlagB = 0;
  const auto& f = r.fields;
  if (f[kUser].kind == Value::kString) {
    s.Name = Text(f[kUser].s);
  } else if (f[kShopName].kind == Value::kString) {
    s.Name = Text(f[kShopName].s);
  }
  if (f[kRetailPlaceAddress].kind == Value::kString) {
    s.Comment = Text(f[kRetailPlaceAddress].s);
  } else if (f[kShopAddress].kind == Value::kString) {
    s.Comment = Text(f[kShopAddress].s);
  }

  // A dateTime that cannot be read counts as absent; "date" stands in only when there is no
  // dateTime at all.
  ADate date;
  ATime time = 0;
  const Value& when = f[kDateTime];
  if (when.kind == Value::kString) {
    out.Dated = ParseIsoDateTime(when.s, date, time);
  } else if (when.IsNumber()) {
    out.Dated = FromSeconds(when, date, time);
  } else if (when.kind != Value::kAbsent) {
    out.Dated = true;  // another type: 1970-01-01 00:00
  } else if (f[kDate].kind == Value::kString) {
    out.Dated = ParseDotDate(f[kDate].s, date, time);
  }
  if (out.Dated) {
    s.Data.Date = date;
    s.Data.Time = time;
  }

  // The payment marker: 1 when nothing was paid in cash.
  const Value& cash = f[kCashTotalSum];
  s.Data.AccountID = cash.IsNumber() && cash.Get() != 0 ? 0 : 1;

  const Value& number = f[kFiscalDocumentNumber];
  // Truncated toward zero; a number outside 32 bits is not kept.
  if (number.IsNumber()) {
    const double whole = number.kind == Value::kFloat ? std::trunc(number.f) : 0;
    const bool fits = number.kind == Value::kSigned ? number.i >= kInt32Min && number.i <= kInt32Max
                      : number.kind == Value::kUnsigned ? number.u <= uint64_t{kInt32Max}
                                                        : whole >= kInt32Min && whole <= kInt32Max;
    if (fits) {
      s.FiscalDocumentNumber =
          static_cast<int32_t>(number.kind == Value::kSigned     ? number.i
                               : number.kind == Value::kUnsigned ? static_cast<int64_t>(number.u)
                                                                 : static_cast<int64_t>(whole));
    }
  }

  // Kopecks when an integer, else the amount itself.
  const Value& total = f[kTotalSum];
  if (total.IsInteger()) {
    s.Total = total.Get() / 100.0;
  } else if (total.kind == Value::kFloat) {
    s.Total = total.f;
  }
  if (!WithinLimit(s.Total)) {
    Skip(index, "the total " + Show(s.Total) + " is not below 10^13 in size");
    return;
  }

  std::vector<RawItem>& items = r.lists[list];
  s.Transactions.reserve(items.size());
  // The items are copies of one made here: a new transaction reads the clock twice, which adds
  // up over a large file.
  TTransaction blank;
  blank.Data.Date = s.Data.Date;
  blank.Data.Time = s.Data.Time;
  blank.Data.Cleared = 0;
  for (size_t n = 0; n < items.size(); ++n) {
    const RawItem& item = items[n];
    TTransaction t = blank;
    if (item.name.kind == Value::kString) t.Name = Text(item.name.s);
    // In "items" a sum counts only as whole kopecks; in "products" any number is the amount.
    if (list == 0 ? item.sum.IsInteger() : item.sum.IsNumber()) {
      t.Data.WithdrawAmount = list == 0 ? item.sum.Get() / 100.0 : item.sum.Get();
    }
    if (item.quantity.IsNumber()) t.Data.Quantity = item.quantity.Get();
    for (auto [value, what] :
         {std::pair{t.Data.WithdrawAmount, "sum"}, std::pair{t.Data.Quantity, "quantity"}}) {
      if (!WithinLimit(value)) {
        Skip(index, "item " + std::to_string(n + 1) + ": the " + what + " " + Show(value) +
                        " is not below 10^13 in size");
        return;
      }
    }
    s.Transactions.push_back(std::move(t));
  }
  converted_ += s.Transactions.size();
  file_.Receipts.push_back(std::move(out));
}

void ReceiptReader::Skip(size_t index, std::string reason) {
  if (file_.Skipped.size() < kMaxListedSkips) {
    file_.Skipped.push_back({index, std::move(reason)});
  } else {
    ++file_.UnlistedSkips;
  }
}

bool ReceiptReader::parse_error(size_t, const std::string&, const Json::exception& e) {
  // "[json.exception.parse_error.101] parse error at line 1, column 9: syntax error while
  // parsing value - invalid literal; last read: 'tru'": the id and the input echo are dropped.
  std::string what = e.what();
  if (size_t bracket = what.find("] "); bracket != std::string::npos) what.erase(0, bracket + 2);
  if (size_t echo = what.find("; last read"); echo != std::string::npos) what.erase(echo);
  for (char& c : what) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  problem_ = "not JSON: " + what;
  return false;
}

// ---- Storing ----

// What makes two receipts the same purchase: the moment, the shop and the amounts of the items.
using Fingerprint = std::tuple<int32_t, uint32_t, std::wstring, std::vector<double>>;

Fingerprint FingerprintOf(const TSplit& s) {
  std::vector<double> amounts;
  amounts.reserve(s.Transactions.size());
  for (const TTransaction& t : s.Transactions) amounts.push_back(t.Data.WithdrawAmount);
  return {s.Data.Date.Val, s.Data.Time, s.Name.str(), std::move(amounts)};
}

// The fingerprints of the book's splits dated at one of `moments`, parts in ID order.
void BookFingerprints(Book& book, const std::set<std::pair<int32_t, uint32_t>>& moments,
                      std::set<Fingerprint>& out) {
  std::map<uint64_t, Fingerprint> splits;
  for (const auto& [id, e] : book.GetTable(0)) {
    if (e->Header.Type != etSplit) continue;
    const auto& s = static_cast<const TSplit&>(*e);
    if (moments.count({s.Data.Date.Val, s.Data.Time}) == 0) continue;
    std::wstring name;
    book.GetString(s.Data.NameID, name);
    splits.emplace(id, Fingerprint{s.Data.Date.Val, s.Data.Time, std::move(name), {}});
  }
  if (splits.empty()) return;
  for (const auto& [id, e] : book.GetTable(1)) {
    if (e->Header.Type != etTransaction) continue;
    const auto& t = static_cast<const TTransaction&>(*e);
    if (auto it = splits.find(t.Data.SplitID); it != splits.end()) {
      std::get<3>(it->second).push_back(t.Data.WithdrawAmount);
    }
  }
  for (auto& [id, print] : splits) out.insert(std::move(print));
}

// The receipt as it is stored: paid from `account`, uncleared, its items filed under
// `category`.
ImportedReceipt Prepare(const Receipt& r, uint64_t account, uint64_t category, uint64_t owner) {
  ImportedReceipt out;
  out.Index = r.Index;
  out.Electronic = r.Split.Data.AccountID == 1;
  out.Split = r.Split;
  TSplit& s = out.Split;
  s.Data.AccountID = account;
  s.Data.FlagB = 0;
  s.Header.OwnerID = owner;
  for (TTransaction& t : s.Transactions) {
    t.Data.WithdrawAccountID = account;
    t.Data.Date = s.Data.Date;
    t.Data.Time = s.Data.Time;
    t.Data.Cleared = 0;
    t.Categories.CategoryID = category;
    t.Header.OwnerID = owner;
  }
  return out;
}

}  // namespace

int ParseReceipts(std::string_view bytes, ReceiptFile& file) {
  file = ReceiptFile();
  auto refuse = [&](std::string problem) {
    file = ReceiptFile();
    file.Problem = std::move(problem);
    return kReceiptsNotJson;
  };
  if (bytes.size() > kMaxReceiptFileSize) return refuse("larger than 64 MiB");
  if (size_t bad = 0; !ValidUtf8(bytes, bad)) {
    return refuse("not UTF-8 text (byte " + std::to_string(bad) + ")");
  }
  ReceiptReader reader(file);
  try {
    // Strict: nothing but white space may follow the value. The parser skips a leading byte
    // order mark and refuses NaN, Infinity and numbers too large for a double.
    if (!Json::sax_parse(bytes.data(), bytes.data() + bytes.size(), &reader)) {
      return refuse(reader.problem());
    }
  } catch (const std::bad_alloc&) {
    return refuse("not enough memory to read it");
  } catch (const std::exception& e) {
    return refuse(std::string("not JSON: ") + e.what());
  }
  return kReceiptsRead;
}

int ReadReceiptFile(const std::string& path, ReceiptFile& file) {
  file = ReceiptFile();
  auto cant = [&](int error) {
    file.Problem = std::error_code(error, std::system_category()).message();
    return kReceiptsCantOpen;
  };
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return cant(errno);
  struct stat st {};
  if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    const int error = S_ISDIR(st.st_mode) ? EISDIR : errno;
    ::close(fd);
    return cant(error);
  }
  if (S_ISREG(st.st_mode) && static_cast<uint64_t>(st.st_size) > kMaxReceiptFileSize) {
    ::close(fd);
    file.Problem = "larger than 64 MiB";
    return kReceiptsNotJson;
  }
  // Read to the end, not to the size seen: a pipe has none, and a growing file may pass it. One
  // byte past the limit is enough to refuse.
  std::string bytes;
  if (S_ISREG(st.st_mode)) bytes.reserve(static_cast<size_t>(st.st_size) + 1);
  size_t used = 0;
  while (used <= kMaxReceiptFileSize) {
    // Into the room reserved for a regular file (its last byte only tells the end), else in
    // growing steps.
    const size_t room = std::min(
        bytes.capacity() > used ? bytes.capacity() - used : std::max(used, size_t{1} << 16),
        kMaxReceiptFileSize + 1 - used);
    bytes.resize(used + room);
    const ssize_t got = ::read(fd, bytes.data() + used, room);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      const int error = errno;
      ::close(fd);
      return cant(error);
    }
    if (got == 0) break;
    used += static_cast<size_t>(got);
  }
  ::close(fd);
  bytes.resize(used);
  if (used > kMaxReceiptFileSize) {
    file.Problem = "larger than 64 MiB";
    return kReceiptsNotJson;
  }
  return ParseReceipts(bytes, file);
}

int ImportReceipts(const std::string& path, std::list<TSplit>& out) {
  ReceiptFile file;
  const int rc = ReadReceiptFile(path, file);
  if (rc != kReceiptsRead) return rc;
  for (Receipt& r : file.Receipts) out.push_back(std::move(r.Split));
  return rc;
}

bool StoreReceipts(Document& document, const ReceiptFile& file, const ReceiptStoreOptions& options,
                   ReceiptImport& result, std::string& problem) {
  result = ReceiptImport();
  problem.clear();
  bool ok = true;
  std::vector<const Receipt*> taken;
  std::vector<SkippedReceipt> duplicates;
  document.Sync([&] {
    Book& book = document.database();
    const TBaseEntry* account =
        options.AccountID == 0 ? nullptr : book.FindEntry(options.AccountID, 0);
    if (account == nullptr || account->Header.Type != etAccount) {
      problem = "no account " + std::to_string(options.AccountID);
      ok = false;
      return;
    }
    if (book.ReadOnly && !options.DryRun) {
      problem = "the book is read-only";
      ok = false;
      return;
    }
    // The path is checked before anything changes; its missing levels are made with the splits.
    uint64_t category = 0;
    if (!ResolveCategoryPath(book, kCategoryRoot, options.CategoryPath, false, category, problem)) {
      ok = false;
      return;
    }
    std::set<Fingerprint> seen;
    if (!options.AllowDuplicates) {
      std::set<std::pair<int32_t, uint32_t>> moments;
      for (const Receipt& r : file.Receipts) {
        if (r.Dated) moments.emplace(r.Split.Data.Date.Val, r.Split.Data.Time);
      }
      if (!moments.empty()) BookFingerprints(book, moments, seen);
    }
    for (const Receipt& r : file.Receipts) {
      // An undated receipt carries today's date and time, which says nothing about it.
      if (!options.AllowDuplicates && r.Dated && !seen.insert(FingerprintOf(r.Split)).second) {
        duplicates.push_back({r.Index, "already imported"});
        continue;
      }
      taken.push_back(&r);
    }
    if (options.DryRun) {
      for (const Receipt* r : taken) {
        result.Imported.push_back(Prepare(*r, options.AccountID, category, book.CurrentUserID()));
      }
    }
  });
  if (!ok) return false;

  // The reader's skips and the duplicates, in file order, within the listing limit.
  std::merge(file.Skipped.begin(), file.Skipped.end(), duplicates.begin(), duplicates.end(),
             std::back_inserter(result.Skipped),
             [](const SkippedReceipt& a, const SkippedReceipt& b) { return a.Index < b.Index; });
  result.UnlistedSkips = file.UnlistedSkips;
  if (result.Skipped.size() > kMaxListedSkips) {
    result.UnlistedSkips += result.Skipped.size() - kMaxListedSkips;
    result.Skipped.resize(kMaxListedSkips);
  }
  if (options.DryRun || taken.empty()) return true;

  document.initUndo(1);
  document.Sync([&] {
    Book& book = document.database();
    uint64_t category = 0;
    if (!ResolveCategoryPath(book, kCategoryRoot, options.CategoryPath, true, category, problem)) {
      ok = false;
      return;
    }
    const uint64_t owner = book.CurrentUserID();
    for (const Receipt* r : taken) {
      ImportedReceipt out = Prepare(*r, options.AccountID, category, owner);
      TSplit& s = out.Split;
      // The split record first, then each part on its own: ISplits::UpdateSplit would walk every
      // transaction of the book per split, which makes a large import quadratic.
      std::vector<TTransaction> parts = std::move(s.Transactions);
      s.Transactions.clear();
      s.Header.ID = book.Splits().AddSplit(s);
      if (s.Header.ID == 0) {
        problem = "the book refused the split of receipt " + std::to_string(r->Index);
        ok = false;
        return;
      }
      for (TTransaction& t : parts) {
        t.Data.SplitID = s.Header.ID;
        t.Header.ID = book.Transactions().AddTransaction(t, TSchedule());
        if (t.Header.ID == 0) {
          problem = "the book refused an item of receipt " + std::to_string(r->Index);
          ok = false;
          return;
        }
      }
      s.Transactions = std::move(parts);
      result.Imported.push_back(std::move(out));
    }
  });
  document.post(kUpdateDataNotification);
  document.writeAutosyncData();
  return ok;
}

}  // namespace vemra::import
