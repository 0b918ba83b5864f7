#include "editors/currency_edit_model.h"

#include <gtest/gtest.h>

namespace vemra::editors {
namespace {

class UndoNames : public UndoRegistrar {
 public:
  void stepOpened(const std::string& name) override { names.push_back(name); }
  void dropRedo() override {}
  void clear() override {}
  std::vector<std::string> names;
};

class CurrencyEditModelTest : public ::testing::Test {
 protected:
  CurrencyEditModelTest() {
    document.New("en");
    document.setUndoRegistrar(&undo);
    document.Sync([&] {
      for (const TCurrency& c : document.database().Currencies().GetAllCurrencies()) {
        if (c.GetCode() == "EUR") euro = c.Header.ID;
      }
    });
  }
  UndoNames undo;
  Document document;
  uint64_t euro = 0;
};

TEST_F(CurrencyEditModelTest, CodesAreCutAndDecideTheRateUpdate) {
  CurrencyEditModel model(document, 0);
  EXPECT_TRUE(model.isNew());
  EXPECT_FALSE(model.hasChanges());
  model.setName(L"Bitcoin");
  model.setCode(L"XBTC");  // cut to three
  EXPECT_EQ(model.code(), L"XBT");
  model.setSymbol(L"\u20BF");
  model.setSymbolPosition(1);
  model.setDecimals(8);
  EXPECT_TRUE(model.hasChanges());
  const uint64_t id = model.save();
  ASSERT_NE(id, 0u);
  EXPECT_EQ(undo.names, std::vector<std::string>{"add"});
  EXPECT_EQ(model.currency().GetCode(), "XBT");
  EXPECT_EQ(model.currency().Data.UpdateExRates, 1);
  EXPECT_EQ(model.currency().Data.AlignRight, 1);
  EXPECT_EQ(model.currency().Data.Decimals, 8);
  EXPECT_FALSE(model.hasChanges());

  // Clearing the code takes the currency out of the rate update; a non-ASCII character keeps
  // its low 8 bits.
  CurrencyEditModel again(document, id);
  EXPECT_FALSE(again.isNew());
  again.setCode(L"");
  ASSERT_EQ(again.save(), id);
  EXPECT_EQ(again.currency().Data.UpdateExRates, 0);
  EXPECT_EQ(undo.names.back(), "edit");
  again.setCode(L"\u0416AB");  // Ж is U+0416: low byte 0x16
  ASSERT_EQ(again.save(), id);
  EXPECT_EQ(again.currency().Data.Code[0], 0x16);
}

TEST_F(CurrencyEditModelTest, NamesAndCodesAreUniqueAndNothingIsWrittenOnRefusal) {
  CurrencyEditModel model(document, 0);
  std::vector<std::string> problems;
  EXPECT_EQ(model.save(&problems), 0u);
  EXPECT_EQ(problems, std::vector<std::string>{"a currency needs a name"});
  model.setName(L"EURO");  // letter case aside, the template's "Euro" exists
  model.setCode(L"EUR");
  model.setDecimals(9);
  problems = model.validate();
  EXPECT_EQ(problems.size(), 3u);
  EXPECT_TRUE(undo.names.empty());
  // Editing a currency keeps its own name and code.
  CurrencyEditModel euro_model(document, euro);
  euro_model.setDecimals(3);
  EXPECT_TRUE(euro_model.validate().empty());
  EXPECT_EQ(euro_model.save(), euro);
}

}  // namespace
}  // namespace vemra::editors
