#include "lists/suggestions.h"

#include <gtest/gtest.h>

#include "collections/interfaces.h"

namespace vemra::lists {
namespace {

class SuggestionsTest : public ::testing::Test {
 protected:
  SuggestionsTest() { document.New("en"); }

  uint64_t Category(const std::wstring& name, uint64_t root = kCategoryRoot) {
    uint64_t id = 0;
    document.Sync([&] {
      TCategory c;
      c.Data.RootID = root;
      c.Data.ImageIndex = 7;
      c.Name = name;
      id = document.database().Categories().AddCategory(c);
    });
    return id;
  }

  uint64_t Add(const std::wstring& name, uint64_t category, bool income = false) {
    uint64_t id = 0;
    document.Sync([&] {
      Book& db = document.database();
      TTransaction t;
      t.Data.Date = TodayADate();
      t.Data.Cleared = 1;
      (income ? t.Data.TargetAccountID : t.Data.WithdrawAccountID) =
          db.UserSettings.DefaultAccountID;
      (income ? t.Data.TargetAmount : t.Data.WithdrawAmount) = 3;
      t.Name = name;
      t.Categories.CategoryID = category;
      id = db.Transactions().AddTransaction(t, TSchedule());
    });
    return id;
  }

  std::vector<std::pair<std::wstring, SuggestionMatch>> Rank(const std::wstring& text,
                                                             int32_t kind) {
    std::vector<Suggestion> candidates;
    document.Sync([&] { candidates = DescriptionCandidates(document.database()); });
    std::vector<std::pair<std::wstring, SuggestionMatch>> out;
    for (const RankedSuggestion& r : RankSuggestions(candidates, text, kind)) {
      out.emplace_back(r.suggestion->entryName, r.match);
    }
    return out;
  }

  Document document;
};

TEST_F(SuggestionsTest, PrefixThenWordThenCategoryWithinTheKind) {
  const uint64_t shops = Category(L"Coffee shops");
  const uint64_t food = Category(L"Food");
  Add(L"  Ice coffee ", food);
  Add(L"Coffee", food);
  Add(L"Beans", shops);
  Add(L"Coffee refund", food, true);
  Add(L"Кофе", food);
  Add(L"Coffee", shops);  // the same text under another category: a row of its own
  using M = SuggestionMatch;
  EXPECT_EQ(Rank(L"cof", 0), (std::vector<std::pair<std::wstring, M>>{{L"Coffee", M::Prefix},
                                                                      {L"Coffee", M::Prefix},
                                                                      {L"Ice coffee", M::Word},
                                                                      {L"Beans", M::Category}}));
  EXPECT_EQ(Rank(L"COF", 1),
            (std::vector<std::pair<std::wstring, M>>{{L"Coffee refund", M::Prefix}}));
  EXPECT_EQ(Rank(L"КОФЕ", -1), (std::vector<std::pair<std::wstring, M>>{{L"Кофе", M::Prefix}}));
  EXPECT_TRUE(Rank(L"   ", -1).empty());
  // The packed index ranks exactly as the plain pass does.
  std::vector<Suggestion> all;
  document.Sync([&] { all = DescriptionCandidates(document.database()); });
  const SuggestionIndex index(all);
  for (const wchar_t* text : {L"cof", L"COF", L"ice", L"e", L"coffee s", L"кофе", L"zz"}) {
    for (int32_t kind : {-1, 0, 1}) {
      std::vector<RankedSuggestion> a = RankSuggestions(all, text, kind),
                                    b = index.Rank(text, kind);
      ASSERT_EQ(a.size(), b.size());
      for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].suggestion, b[i].suggestion);
        EXPECT_EQ(a[i].match, b[i].match);
      }
    }
  }
  EXPECT_TRUE(Rank(L"", -1).empty());

  std::vector<Suggestion> categories;
  document.Sync([&] { categories = CategoryCandidates(document.database(), kCategoryRoot); });
  // The template's "Shopping" begins with the text; "Coffee shops" only has such a word.
  std::vector<RankedSuggestion> ranked = RankSuggestions(categories, L"shop", -1);
  ASSERT_GE(ranked.size(), 2u);
  EXPECT_EQ(ranked.front().match, SuggestionMatch::Prefix);
  EXPECT_EQ(ranked.back().suggestion->categoryID, shops);
  EXPECT_EQ(ranked.back().match, SuggestionMatch::Word);
  EXPECT_EQ(ranked.back().suggestion->categoryImage, 7u);
}

TEST_F(SuggestionsTest, TheSourceLoadsOnTheQueueAndReloadsAfterAnUpdate) {
  Add(L"Bread", 0);
  std::unique_ptr<SuggestionSource> source = SuggestionSource::Descriptions(document, -1);
  EXPECT_TRUE(source->suggestionsForText(L"br").empty());  // loading
  document.queue().Drain();
  ASSERT_EQ(source->suggestionsForText(L"br").size(), 1u);
  Add(L"Brie", 0);
  EXPECT_EQ(source->suggestionsForText(L"br").size(), 1u);  // nothing said yet
  document.post(kUpdateDataNotification);
  EXPECT_EQ(source->suggestionsForText(L"br").size(), 1u);  // the old answer while reloading
  document.queue().Drain();
  std::vector<Suggestion> now = source->suggestionsForText(L"br");
  ASSERT_EQ(now.size(), 2u);
  EXPECT_EQ(now[0].entryName, L"Bread");
  EXPECT_EQ(now[1].entryName, L"Brie");
}

}  // namespace
}  // namespace vemra::lists
