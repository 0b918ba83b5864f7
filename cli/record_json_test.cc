#include "cli/record_json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

#include "cli/commands.h"
#include "core/database/database.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/entry_factory.h"
#include "core/records/ex_rate.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/tagged_entry.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "platform/clock.h"

namespace vemra::cli {
namespace {

std::string Keys(const Json& j) {
  std::string keys;
  for (const auto& [key, value] : j.items()) keys += (keys.empty() ? "" : " ") + key;
  return keys;
}

TEST(RecordJsonTest, EveryClassListsItsFieldsInStoredOrderUnderTheirNames) {
  const std::string head = "ID LastModDate OwnerID Type SecondaryType Size Hidden ReadOnly table ";
  const std::string cats = "CategoryID FamilyID PayeeID ProjectID ";
  const std::string transaction =
      "WithdrawAccountID TargetAccountID SplitID LoanID NameID CommentID CustomText1ID "
      "CustomText2ID CurrencyID FileLinksID Date Time WithdrawAmount TargetAmount Quantity "
      "Cleared CustomCheckBox bSMS Reserved2 Reserved3 Amount Tax";
  const std::string event = "Text1ID Text2ID Text3ID @56 @60 @64 @68 @69 @70";
  const std::map<uint32_t, std::string> expected = {
      {etString, "Text"},
      {etCurrency,
       "SymbolID NameID ImageIndex AlignRight Decimals Enabled Default UpdateExRates Code "
       "Reserved1"},
      {etAccount,
       "NameID CommentID CurrencyID GroupID ImageIndex Reserved1 InitialBalance "
       "LastReconciliationDate Visible Reserved2 Reserved3 Reserved4"},
      {etAccGroup, "@0 NameID CommentID CurrencyID ImageIndex Reserved1"},
      {etCategory, "NameID CommentID RootID ImageIndex Reserved1"},
      {etExRate, "@0 @8 @16 @24 @28"},
      {etBudget,
       cats + "Text1ID Text2ID @48 @56 PeriodType @68 @69 @70 @72 @76 @80 @84 @88 " + "@92 @100"},
      {etBudgetFilter, "BudgetID TargetID @16 IsCategory"},
      {etLoan, cats + "Text1ID Text2ID @48 @56 @64 @72 @80 @88 @96 @104 @112 @116 @117 @118 " +
                   "@120 @124"},
      {etEvent, cats + event},
      {etTag, "EntryID TagID"},
      {etUser,
       "Text1ID Text2ID Text3ID Text4ID @32 @36 DefaultCurrencyID DefaultAccountID PeriodBegin "
       "PeriodEnd"},
      {etSortOrder, "UserID EntryID Order Expanded"},
      {etTransaction, cats + transaction},
      {etScheduledTransaction, "Schedule " + cats + transaction},
      {etSplit,
       "Date Time AccountID NameID CommentID CustomText1ID CustomText2ID @48 FileLinksID @64"},
      {etScheduledEvent, "Schedule " + cats + event},
  };
  for (const auto& [type, body] : expected) {
    SCOPED_TRACE(type);
    Json j = RecordToJson(*CreateEntry(type));
    EXPECT_EQ(Keys(j), head + body);
    if (j.contains("Schedule")) {
      EXPECT_EQ(Keys(j["Schedule"]),
                "ScheduleType BeginDate EndDate End Day WeekDays WeekType Months Ghost");
    }
  }
  // A record whose class does not match its type code shows its header only.
  TAccount odd;
  odd.Header.Type = etCategory;
  EXPECT_EQ(Keys(RecordToJson(odd)), head.substr(0, head.size() - 1));
}

// Reads a body whose byte at offset i is i + 1; every "@N" key must then show the field that
// starts at body offset N.
TEST(RecordJsonTest, OffsetKeysShowTheFieldAtThatBodyOffset) {
  for (uint32_t type : {etAccGroup, etExRate, etBudget, etBudgetFilter, etLoan, etEvent, etUser,
                        etSplit, etScheduledEvent}) {
    SCOPED_TRACE(type);
    std::unique_ptr<TBaseEntry> e = CreateEntry(type);
    std::vector<uint8_t> body(e->Header.Size);
    for (size_t i = 0; i < body.size(); ++i) body[i] = static_cast<uint8_t>(i + 1);
    OutputStream out;
    out.Write(body.data(), body.size());
    InputStream in;
    in.AttachMemory(out);
    ASSERT_TRUE(e->LoadData(in, e->Header.SecondaryType));
    // A scheduled event's event part starts behind its 40-byte schedule.
    size_t shift = type == etScheduledEvent ? 40 : 0;
    int checked = 0;
    Json j = RecordToJson(*e);
    for (const auto& [key, value] : j.items()) {
      if (key[0] != '@') continue;
      size_t at = std::stoul(key.substr(1)) + shift;
      if (value.is_array()) {
        EXPECT_EQ(value.front().get<int>(), body[at]) << key;
      } else if (value.is_number_float()) {
        double expected;
        std::memcpy(&expected, &body[at], 8);
        EXPECT_EQ(value.get<double>(), expected) << key;
      } else {
        auto v = value.is_number_unsigned() ? value.get<uint64_t>()
                                            : static_cast<uint64_t>(value.get<int64_t>());
        EXPECT_EQ(v & 0xFF, body[at]) << key;
      }
      ++checked;
    }
    EXPECT_GT(checked, 0);
  }
}

TEST(RecordJsonTest, DoublesTextsAndCodesSurviveTheirEdgeCases) {
  EXPECT_EQ(DoubleToJson(std::nan("")), "NaN");
  EXPECT_EQ(DoubleToJson(std::numeric_limits<double>::infinity()), "Infinity");
  EXPECT_EQ(DoubleToJson(-std::numeric_limits<double>::infinity()), "-Infinity");
  for (double v : {0.1 + 0.2, 5e-324, 1.7976931348623157e308, -0.0, 1234567.891}) {
    double back = Json::parse(DoubleToJson(v).dump()).get<double>();
    EXPECT_EQ(std::memcmp(&back, &v, sizeof v), 0) << v;
  }
  // A lone surrogate (from a damaged string record) and a value past U+10FFFF become U+FFFD;
  // a character above U+FFFF is one 4-byte sequence.
  EXPECT_EQ(TextToUtf8(L"a\xD800"
                       L"b"),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(TextToUtf8(std::wstring(1, static_cast<wchar_t>(0x110000))), "\xEF\xBF\xBD");
  EXPECT_EQ(TextToUtf8(L"\U0001F600"), "\xF0\x9F\x98\x80");

  TCurrency c;
  c.Data.Code = {0xE9, 'x', 0};  // Latin-1 bytes; the trailing zero is padding
  EXPECT_EQ(RecordToJson(c)["Code"], "\xC3\xA9x");
  c.Data.Code = {'A', 0, 'B'};  // an inner zero byte is kept
  EXPECT_EQ(RecordToJson(c)["Code"], std::string("A\0B", 3));
}

constexpr int64_t kNoon = int64_t{20000} * 86400 + 12 * 3600;

TEST(DatabaseJsonTest, SmallBookMatchesTheHandWrittenDump) {
  platform::ScopedClockPin pin(kNoon);
  DataBase db;
  db.Loaded = true;
  db.SetCurrentUser(0);
  db.Header.DatabaseID = 77;
  db.Header.Option2 = -1;
  db.Header.UserSettings = {200, 0, ADate(20000), ADate(20030)};
  db.Header.PasswordLength = 2;

  auto currency = std::make_unique<TCurrency>();
  currency->Header.ID = 200;
  currency->SetCode(L"EU");
  db.StoreEntry(std::move(currency), 1000);

  auto s = std::make_unique<TScheduledTransaction>();
  s->Header.ID = 300;
  s->Header.OwnerID = 8;
  s->Header.Hidden = 1;
  s->Schedule.ScheduleType = 3;
  s->Schedule.BeginDate = ADate(20001);
  s->Schedule.EndDate = ADate(20031);
  s->Schedule.End = 1;
  s->Schedule.Day = 2;
  s->Schedule.WeekDays = {1, 0, 0, 0, 0, 1, 0};
  s->Schedule.WeekType = 1;
  s->Schedule.Months[1] = 0;
  s->Schedule.Ghost = 1;
  s->Categories.CategoryID = 11;
  s->Categories.PayeeID = 12;
  s->Data.WithdrawAccountID = 21;
  s->Data.Date = ADate(20001);
  s->Data.Time = 3600000;
  s->Data.WithdrawAmount = 12.5;
  s->Data.TargetAmount = 0.1;
  s->Data.Cleared = 0;
  db.StoreEntry(std::move(s), 1500);

  auto tag = std::make_unique<TTag>();
  tag->Header.ID = 600;
  tag->Data = {300, 42};
  db.StoreEntry(std::move(tag), 1600);

  auto rate = std::make_unique<TExRate>();
  rate->Header.ID = 400;
  rate->Data.FirstCurrencyID = 200;
  rate->Data.SecondCurrencyID = 201;
  rate->Data.Rate = std::numeric_limits<double>::infinity();
  rate->Data.Date = ADate(19999);
  db.StoreEntry(std::move(rate), 1700);

  auto text = std::make_unique<TStringEntry>();
  text->Header.ID = 500;
  text->SetText(L"Caf\u00E9 \U0001F600");  // 5 characters + a surrogate pair = 7 units
  db.StoreEntry(std::move(text), 2000);
  db.DatabaseTexts[0] = {500, 33};

  auto gone = std::make_unique<TCategory>();
  gone->Header.ID = 700;
  db.StoreEntry(std::move(gone), 5000);
  db.DeleteEntry(0, 700);  // marker stamped with the pinned clock

  std::ostringstream out;
  WriteDatabaseJson(db, 440, out);
  const std::string cafe = "Caf\xC3\xA9 \xF0\x9F\x98\x80";
  const std::string no_text = R"({"ID":0,"stamp":0,"text":""})";
  const std::string expected =
      R"({"format":440,
"header":{"DatabaseID":77,"SettingsStamp":0,"Reserved1":0,"Option0":0,"Option1":0,"Option2":-1,"Option3":0,"DefaultCurrencyID":200,"DefaultAccountID":0,"PeriodBegin":20000,"PeriodEnd":20030,"PasswordLength":2,"PasswordStamp":0,"Reserved2":0},
"texts":[
{"ID":500,"stamp":33,"text":")" +
      cafe + "\"},\n" + no_text + ",\n" + no_text + ",\n" + no_text + ",\n" + no_text + R"(],
"records":[
{"ID":200,"LastModDate":1000,"OwnerID":0,"Type":100,"SecondaryType":0,"Size":32,"Hidden":0,"ReadOnly":0,"table":0,"SymbolID":0,"NameID":0,"ImageIndex":0,"AlignRight":0,"Decimals":2,"Enabled":1,"Default":0,"UpdateExRates":0,"Code":"EU","Reserved1":0},
{"ID":300,"LastModDate":1500,"OwnerID":8,"Type":201,"SecondaryType":2,"Size":208,"Hidden":1,"ReadOnly":0,"table":0,"Schedule":{"ScheduleType":3,"BeginDate":20001,"EndDate":20031,"End":1,"Day":2,"WeekDays":[1,0,0,0,0,1,0],"WeekType":1,"Months":[1,0,1,1,1,1,1,1,1,1,1,1],"Ghost":1},"CategoryID":11,"FamilyID":0,"PayeeID":12,"ProjectID":0,"WithdrawAccountID":21,"TargetAccountID":0,"SplitID":0,"LoanID":0,"NameID":0,"CommentID":0,"CustomText1ID":0,"CustomText2ID":0,"CurrencyID":0,"FileLinksID":0,"Date":20001,"Time":3600000,"WithdrawAmount":12.5,"TargetAmount":0.1,"Quantity":1.0,"Cleared":0,"CustomCheckBox":0,"bSMS":0,"Reserved2":0,"Reserved3":0,"Amount":0.0,"Tax":0.0},
{"ID":600,"LastModDate":1600,"OwnerID":0,"Type":109,"SecondaryType":0,"Size":16,"Hidden":0,"ReadOnly":0,"table":4,"EntryID":300,"TagID":42},
{"ID":400,"LastModDate":1700,"OwnerID":0,"Type":104,"SecondaryType":0,"Size":32,"Hidden":0,"ReadOnly":0,"table":5,"@0":200,"@8":201,"@16":"Infinity","@24":19999,"@28":0},
{"ID":500,"LastModDate":2000,"OwnerID":0,"Type":10,"SecondaryType":7,"Size":14,"Hidden":0,"ReadOnly":0,"table":6,"Text":")" +
      cafe + R"("}],
"deleted":[
{"ID":700,"LastModDate":17280432000000,"OwnerID":0,"SecondaryType":103}]}
)";
  EXPECT_EQ(out.str(), expected);
  EXPECT_FALSE(Json::parse(out.str(), nullptr, false).is_discarded());
}

}  // namespace
}  // namespace vemra::cli
