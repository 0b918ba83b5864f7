// Suggestions for a description, a category or a payee being typed: the candidates gathered
// from the book, matched without regard to case (locale-free folding) and ranked as prefix
// matches, then word matches, then (for descriptions) category matches.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "collections/book.h"
#include "document/document.h"

namespace vemra::lists {

// One candidate.
struct Suggestion {
  int32_t Type = -1;       // description kind: 0 expense, 1 income, 2 transfer; -1 for a category
  uint64_t entryID = 0;    // description: the transaction it was last used in; category: its ID
  std::wstring entryName;  // the description (trimmed), or the category's name
  std::vector<std::wstring> words;  // entryName split at every space
  uint64_t categoryID = 0;          // the description's category, or the category itself
  std::wstring categoryName;
  uint32_t categoryImage = 0;
  // Case-folded forms of entryName, words and categoryName, for matching.
  std::wstring foldedName;
  std::vector<std::wstring> foldedWords;
  std::wstring foldedCategory;
};

enum class SuggestionMatch { Prefix, Word, Category };

struct RankedSuggestion {
  const Suggestion* suggestion;  // points into the candidates ranked
  SuggestionMatch match;
};

// Sorts candidates by name (folded, then by code point), ties in their order: the order every
// bucket of RankSuggestions keeps. The loaders below return their candidates sorted.
void SortCandidates(std::vector<Suggestion>& candidates);

// The descriptions of GetDescriptions, one candidate each, with the category each was filed
// under (its ID, name and image), sorted. Use on the document's queue.
std::vector<Suggestion> DescriptionCandidates(Book& book);
// The categories of the branch under `parent_id` (a fixed root or a category) that the user
// may see, sorted. Use on the document's queue.
std::vector<Suggestion> CategoryCandidates(Book& book, uint64_t parent_id);

// The candidates matching `text` (trimmed; empty gives none), best first: those whose name
// begins with it, then those with a word that does, then (descriptions) those whose category
// name does; each group in the order of `candidates`, which SortCandidates must have sorted.
// With `entry_type` 0 or more only descriptions of that kind take part. Thread-safe.
std::vector<RankedSuggestion> RankSuggestions(const std::vector<Suggestion>& candidates,
                                              std::wstring_view text, int32_t entry_type);

// RankSuggestions over candidates packed once into flat buffers: a keystroke then walks
// contiguous memory instead of one heap string per candidate. Holds pointers into
// `candidates`, which must outlive it unchanged.
class SuggestionIndex {
 public:
  explicit SuggestionIndex(const std::vector<Suggestion>& candidates);
  // The same result as RankSuggestions(candidates, text, entry_type). Thread-safe.
  std::vector<RankedSuggestion> Rank(std::wstring_view text, int32_t entry_type) const;

 private:
  const std::vector<Suggestion>& candidates_;
  std::wstring names_;                           // folded names, back to back
  std::wstring categories_;                      // folded category names, back to back
  std::vector<uint32_t> name_at_, category_at_;  // offsets, one past the last included
};

// The suggestions of one text field: candidates load on the document's queue at the first
// query (which answers empty), and again at the first query after each update-data
// notification (answered from the previous candidates meanwhile). Must not outlive its
// document. Queries may come from any one thread.
class SuggestionSource {
 public:
  // Descriptions of kind `entry_type` (negative: every kind).
  static std::unique_ptr<SuggestionSource> Descriptions(Document& document, int32_t entry_type);
  // Categories (or payees) under `parent_id`.
  static std::unique_ptr<SuggestionSource> Categories(Document& document, uint64_t parent_id);

  // Copies of the ranked suggestions for `text`; empty while the candidates load.
  std::vector<Suggestion> suggestionsForText(std::wstring_view text);

 private:
  struct State;
  SuggestionSource(Document& document, bool descriptions, int32_t entry_type, uint64_t parent);

  Document& document_;
  const bool descriptions_;
  const int32_t entry_type_;
  const uint64_t parent_;
  std::shared_ptr<State> state_;
  ObserverToken token_;
};

}  // namespace vemra::lists
