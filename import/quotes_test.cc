#include "import/quotes.h"

#include <gtest/gtest.h>

#include <cmath>

#include "collections/book.h"
#include "platform/testing/http_server.h"

namespace vemra::import {
namespace {

using platform::testing::HttpServer;

TEST(QuotesReplyTest, ReadsTheSecondFieldOfEveryLineWithAComma) {
  const struct {
    const char* field;
    double rate;
  } fields[] = {
      {" 12.5abc", 12.5}, {"+.5", 0.5},  {"-3", -3}, {"5.", 5},          {".", 0},
      {"abc", 0},         {"nan", 0},    {"inf", 0}, {"0x1A", 0},        {"1e400", 0},
      {"1e-400", 0},      {"2E3", 2000}, {"1e", 1},  {"\t7,8", 7},       {"", 0},
      {"1.5e+2x", 150},   {"-", 0},      {"+-1", 0}, {" 90.25 ", 90.25},
  };
  for (const auto& f : fields) EXPECT_EQ(ReadRate(f.field), f.rate) << f.field;

  std::vector<std::string_view> lines;
  // A line without a comma takes no place; CR LF and a missing last line end are fine.
  EXPECT_EQ(ParseQuotesReply("USDRUB,90.5\r\nno comma\nEURUSD, 1.08,x\n,\nlast,3", &lines),
            (std::vector<double>{90.5, 1.08, 0, 3}));
  EXPECT_EQ(lines, (std::vector<std::string_view>{"USDRUB,90.5", "EURUSD, 1.08,x", ",", "last,3"}));
  EXPECT_TRUE(ParseQuotesReply("").empty());
}

// A book whose only currencies that take part in updates are USD, EUR and RUB (in that ID order),
// with USD->RUB 90, EUR->RUB 98 and EUR->USD 1.08 stored.
class QuotesTest : public ::testing::Test {
 protected:
  QuotesTest() {
    document.New("en");
    document.Sync([&] {
      Book& db = document.database();
      std::vector<TCurrency> all;
      for (const auto& [id, e] : db.GetTable(0)) {
        if (e->Header.Type == etCurrency) all.push_back(static_cast<const TCurrency&>(*e));
      }
      for (TCurrency c : all) {
        c.Data.UpdateExRates = 0;
        db.StoreEntry(std::make_unique<TCurrency>(c));
      }
      usd = Add(db, 9000001, L"Dollar", L"USD");
      eur = Add(db, 9000002, L"Euro", L"EUR");
      rub = Add(db, 9000003, L"Ruble", L"RUB");
      db.SetExRate(usd, rub, 90);
      db.SetExRate(eur, rub, 98);
      db.SetExRate(eur, usd, 1.08);
    });
  }
  static uint64_t Add(Book& db, uint64_t id, const wchar_t* name, const wchar_t* code,
                      bool update = true) {
    auto c = std::make_unique<TCurrency>();
    c->Header.ID = id;
    c->Name = name;
    c->SetCode(code);
    c->Data.UpdateExRates = update ? 1 : 0;
    return db.StoreEntry(std::move(c));
  }
  std::vector<std::string> Names(uint64_t currency = 0) {
    std::vector<std::string> names;
    document.Sync([&] {
      for (const QuotePair& p : QuotePairs(document.database(), currency)) names.push_back(p.name);
    });
    return names;
  }
  double Rate(uint64_t from, uint64_t to) {
    double r = 0;
    document.Sync([&] { r = document.database().GetExRate(from, to); });
    return r;
  }

  Document document;
  uint64_t usd = 0, eur = 0, rub = 0;
};

TEST_F(QuotesTest, EachPairIsAskedOnceInTheDirectionWhosePriceIsAtLeastOne) {
  EXPECT_EQ(Names(), (std::vector<std::string>{"EURUSD", "USDRUB", "EURRUB"}));
  EXPECT_EQ(Names(rub), (std::vector<std::string>{"USDRUB", "EURRUB"}));
  // A new currency without rates is asked after each earlier one; no code or no updating: never.
  document.Sync([&] {
    Book& db = document.database();
    Add(db, 9000004, L"Pound", L"GBP");
    Add(db, 9000005, L"Nothing", L"");
    Add(db, 9000006, L"Frozen", L"FRZ", false);
  });
  EXPECT_EQ(Names(),
            (std::vector<std::string>{"EURUSD", "USDRUB", "GBPUSD", "EURRUB", "GBPEUR", "GBPRUB"}));
  std::vector<QuotePair> odd = {{1, 2, "AB"}, {2, 1, "\xE9$ x"}};
  EXPECT_EQ(QuotesUrl("https://q.example:8443/api//", odd),
            "https://q.example:8443/api/downloads/quotes.php?currencies=AB,%E9%24%20x");
}

TEST_F(QuotesTest, RepliesAreStoredAndFailuresNamed) {
  struct Case {
    HttpServer::Reply reply;
    std::vector<bool> stored;  // per pair EURUSD, USDRUB, EURRUB
    std::string failed_text;
    std::string error;
  };
  auto body = [](std::string text) {
    HttpServer::Reply r;
    r.body = std::move(text);
    return r;
  };
  HttpServer::Reply unavailable;
  unavailable.status = 503;
  const Case cases[] = {
      {body("\xEF\xBB\xBFUSD/EUR,1.1\nUSD/RUB,91\nEUR/RUB,99.5\n"), {true, true, true}, "", ""},
      // The missing last line fails RUB's other pair, but RUB got USD's rate: nobody fails.
      {body("a,1.2\nb,92\n"), {true, true, false}, "", ""},
      // A 0 and a word: EUR got no rate at all.
      {body("a,0\nb,93\nc,none\n"), {false, true, false}, "\nEuro (EUR)", ""},
      {unavailable, {}, "", "HTTP 503"},
      {body("a,1\xff\n"), {}, "", "The quotes reply is not UTF-8 text"},
      {body(std::string(kMaxQuotesReply + 1, '1')),
       {},
       "",
       "The quotes reply is larger than 1 MiB"},
  };
  for (const Case& c : cases) {
    HttpServer server([&](const HttpServer::Request&) { return c.reply; });
    const double before = Rate(eur, rub);
    const QuotesOutcome o = UpdateExRates(document, 0, server.url() + "/");
    ASSERT_EQ(server.requests().size(), 1u);
    EXPECT_EQ(server.requests()[0].target, "/downloads/quotes.php?currencies=EURUSD,USDRUB,EURRUB");
    EXPECT_EQ(o.error, c.error);
    EXPECT_EQ(o.failed_text, c.failed_text);
    if (!c.error.empty()) {
      EXPECT_FALSE(o.changed());
      EXPECT_EQ(Rate(eur, rub), before);
      continue;
    }
    EXPECT_EQ(o.stored, c.stored);
  }
  // The first reply's rates stand where the later ones gave none; rates are not undone.
  EXPECT_DOUBLE_EQ(Rate(eur, usd), 1.2);
  EXPECT_DOUBLE_EQ(Rate(usd, rub), 93);
  EXPECT_DOUBLE_EQ(Rate(eur, rub), 99.5);
  document.Sync([&] { document.database().Undo(); });
  EXPECT_DOUBLE_EQ(Rate(usd, rub), 93);
}

TEST_F(QuotesTest, NothingToAskSendsNothing) {
  HttpServer server([](const HttpServer::Request&) { return HttpServer::Reply(); });
  document.Sync([&] {
    for (uint64_t id : {usd, eur, rub}) {
      TCurrency c = document.database().Currencies().GetCurrency(id);
      c.Data.UpdateExRates = 0;
      document.database().Currencies().UpdateCurrency(c);
    }
  });
  const QuotesOutcome o = UpdateExRates(document, 0, server.url());
  EXPECT_TRUE(o.url.empty());
  EXPECT_TRUE(o.ok());
  EXPECT_TRUE(server.requests().empty());
}

}  // namespace
}  // namespace vemra::import
