#include "lists/suggestions.h"

#include <algorithm>
#include <mutex>

#include "platform/unicode.h"

namespace vemra::lists {
namespace {

bool IsBlank(wchar_t c) {
  return c == L' ' || c == L'\t' || c == L'\n' || c == L'\r' || c == L'\v' || c == L'\f' ||
         c == 0x00A0 || c == 0x2028 || c == 0x2029;
}

std::wstring Trimmed(std::wstring_view text) {
  size_t begin = 0, end = text.size();
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  return std::wstring(text.substr(begin, end - begin));
}

std::vector<std::wstring> Words(const std::wstring& name) {
  std::vector<std::wstring> words;
  size_t start = 0;
  for (;;) {
    size_t space = name.find(L' ', start);
    words.push_back(name.substr(start, space - start));
    if (space == std::wstring::npos) return words;
    start = space + 1;
  }
}

void Fold(Suggestion& s) {
  s.foldedName = FoldCase(s.entryName);
  s.foldedWords.clear();
  for (const std::wstring& w : s.words) s.foldedWords.push_back(FoldCase(w));
  s.foldedCategory = FoldCase(s.categoryName);
}

bool StartsWith(const std::wstring& text, const std::wstring& prefix) {
  return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

void SortCandidates(std::vector<Suggestion>& candidates) {
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Suggestion& x, const Suggestion& y) {
                     if (x.foldedName != y.foldedName) return x.foldedName < y.foldedName;
                     return x.entryName < y.entryName;
                   });
}

std::vector<Suggestion> DescriptionCandidates(Book& book) {
  std::vector<Suggestion> out;
  std::map<uint64_t, uint32_t> images;
  for (const TDescription& d : book.Transactions().GetDescriptions()) {
    Suggestion s;
    s.Type = d.Kind;
    s.entryID = d.TransactionID;
    s.entryName = Trimmed(d.Description);
    s.words = Words(s.entryName);
    s.categoryID = d.CategoryID;
    s.categoryName = d.CategoryName;
    auto image = images.find(d.CategoryID);
    if (image == images.end()) {
      const auto* c = dynamic_cast<const TCategory*>(book.FindEntry(d.CategoryID, 0));
      image = images.emplace(d.CategoryID, c != nullptr ? c->Data.ImageIndex : 0).first;
    }
    s.categoryImage = image->second;
    Fold(s);
    out.push_back(std::move(s));
  }
  SortCandidates(out);
  return out;
}

std::vector<Suggestion> CategoryCandidates(Book& book, uint64_t parent_id) {
  std::vector<Suggestion> out;
  for (const std::shared_ptr<TCategory>& c : book.Categories().GetDescendants(parent_id)) {
    Suggestion s;
    s.entryID = s.categoryID = c->Header.ID;
    s.categoryImage = c->Data.ImageIndex;
    book.GetString(c->Data.NameID, s.categoryName);
    s.entryName = s.categoryName;
    s.words = Words(s.categoryName);
    Fold(s);
    out.push_back(std::move(s));
  }
  SortCandidates(out);
  return out;
}

std::vector<RankedSuggestion> RankSuggestions(const std::vector<Suggestion>& candidates,
                                              std::wstring_view text, int32_t entry_type) {
  const std::wstring wanted = FoldCase(Trimmed(text));
  std::vector<RankedSuggestion> buckets[3];
  if (wanted.empty()) return {};
  // Words are the name split at spaces, so a word begins with the text exactly when the
  // folded name holds " " + text (a text with a space of its own begins no word). One pass
  // over each folded name, without touching the word list.
  const bool one_word = wanted.find(L' ') == std::wstring::npos;
  const std::wstring after_space = L" " + wanted;
  for (const Suggestion& s : candidates) {
    if (entry_type >= 0 && s.Type >= 0 && s.Type != entry_type) continue;
    if (StartsWith(s.foldedName, wanted)) {
      buckets[0].push_back({&s, SuggestionMatch::Prefix});
    } else if (one_word && s.foldedName.find(after_space) != std::wstring::npos) {
      buckets[1].push_back({&s, SuggestionMatch::Word});
    } else if (s.Type >= 0 && StartsWith(s.foldedCategory, wanted)) {
      buckets[2].push_back({&s, SuggestionMatch::Category});
    }
  }
  // The candidates come sorted (SortCandidates), so each bucket already is.
  std::vector<RankedSuggestion> out;
  out.reserve(buckets[0].size() + buckets[1].size() + buckets[2].size());
  for (auto& bucket : buckets) out.insert(out.end(), bucket.begin(), bucket.end());
  return out;
}

SuggestionIndex::SuggestionIndex(const std::vector<Suggestion>& candidates)
    : candidates_(candidates) {
  name_at_.reserve(candidates.size() + 1);
  category_at_.reserve(candidates.size() + 1);
  name_at_.push_back(0);
  category_at_.push_back(0);
  for (const Suggestion& s : candidates) {
    names_ += s.foldedName;
    categories_ += s.foldedCategory;
    name_at_.push_back(static_cast<uint32_t>(names_.size()));
    category_at_.push_back(static_cast<uint32_t>(categories_.size()));
  }
}

std::vector<RankedSuggestion> SuggestionIndex::Rank(std::wstring_view text,
                                                    int32_t entry_type) const {
  const std::wstring wanted = FoldCase(Trimmed(text));
  if (wanted.empty()) return {};
  const bool one_word = wanted.find(L' ') == std::wstring::npos;
  const std::wstring after_space = L" " + wanted;
  std::vector<RankedSuggestion> buckets[3];
  const std::wstring_view names(names_), categories(categories_);
  for (size_t i = 0; i < candidates_.size(); ++i) {
    const Suggestion& s = candidates_[i];
    if (entry_type >= 0 && s.Type >= 0 && s.Type != entry_type) continue;
    const std::wstring_view name = names.substr(name_at_[i], name_at_[i + 1] - name_at_[i]);
    if (name.substr(0, wanted.size()) == wanted) {
      buckets[0].push_back({&s, SuggestionMatch::Prefix});
    } else if (one_word && name.find(after_space) != std::wstring_view::npos) {
      buckets[1].push_back({&s, SuggestionMatch::Word});
    } else if (s.Type >= 0 &&
               categories.substr(category_at_[i], category_at_[i + 1] - category_at_[i])
                       .substr(0, wanted.size()) == wanted) {
      buckets[2].push_back({&s, SuggestionMatch::Category});
    }
  }
  std::vector<RankedSuggestion> out;
  out.reserve(buckets[0].size() + buckets[1].size() + buckets[2].size());
  for (auto& bucket : buckets) out.insert(out.end(), bucket.begin(), bucket.end());
  return out;
}

struct SuggestionSource::State {
  std::mutex mutex;
  std::vector<Suggestion> candidates;
  std::unique_ptr<SuggestionIndex> index;
  bool loaded = false;
  bool loading = false;
  uint64_t generation = 0;         // update-data notifications seen
  uint64_t loaded_generation = 0;  // the generation the candidates were loaded at
};

std::unique_ptr<SuggestionSource> SuggestionSource::Descriptions(Document& document,
                                                                 int32_t entry_type) {
  return std::unique_ptr<SuggestionSource>(new SuggestionSource(document, true, entry_type, 0));
}

std::unique_ptr<SuggestionSource> SuggestionSource::Categories(Document& document,
                                                               uint64_t parent_id) {
  return std::unique_ptr<SuggestionSource>(new SuggestionSource(document, false, -1, parent_id));
}

SuggestionSource::SuggestionSource(Document& document, bool descriptions, int32_t entry_type,
                                   uint64_t parent)
    : document_(document),
      descriptions_(descriptions),
      entry_type_(entry_type),
      parent_(parent),
      state_(std::make_shared<State>()) {
  std::weak_ptr<State> weak = state_;
  token_ = document_.observe(kUpdateDataNotification, [weak](Document&) {
    if (auto state = weak.lock()) {
      std::lock_guard<std::mutex> lock(state->mutex);
      ++state->generation;
    }
  });
}

std::vector<Suggestion> SuggestionSource::suggestionsForText(std::wstring_view text) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  const bool stale = !state_->loaded || state_->loaded_generation != state_->generation;
  if (stale && !state_->loading) {
    state_->loading = true;
    const uint64_t generation = state_->generation;
    std::shared_ptr<State> state = state_;
    Document* document = &document_;
    const bool descriptions = descriptions_;
    const uint64_t parent = parent_;
    document_.queue().Submit([state, document, descriptions, parent, generation] {
      std::vector<Suggestion> loaded = descriptions
                                           ? DescriptionCandidates(document->database())
                                           : CategoryCandidates(document->database(), parent);
      std::lock_guard<std::mutex> guard(state->mutex);
      state->candidates = std::move(loaded);
      state->index = std::make_unique<SuggestionIndex>(state->candidates);
      state->loaded = true;
      state->loading = false;
      state->loaded_generation = generation;
    });
  }
  std::vector<Suggestion> out;
  if (!state_->loaded) return out;
  for (const RankedSuggestion& r : state_->index->Rank(text, entry_type_)) {
    out.push_back(*r.suggestion);
  }
  return out;
}

}  // namespace vemra::lists
