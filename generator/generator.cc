#include "generator/generator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/ex_rate.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/split.h"
#include "core/records/transaction.h"
#include "platform/clock.h"

namespace vemra {
namespace {

constexpr uint64_t kCategoryRoot = 4;
constexpr uint64_t kPayeeRoot = 7;
// Tags are category records outside both trees, so that they show in neither.
constexpr uint64_t kTagRoot = 6;
// Records stored per undo step before the step is dropped, so that no history piles up.
constexpr uint32_t kUndoBatch = 4096;
constexpr ATime kHour = 3600 * 1000;

// --- Currencies ---

enum Currency { kUSD, kEUR, kGBP, kJPY, kCHF, kCurrencyCount };

struct CurrencyDef {
  const wchar_t* code;
  const wchar_t* name;
  const wchar_t* symbol;
  uint8_t decimals;
  uint8_t align_right;
  double per_usd;  // units for one US dollar at the start of the book
};

constexpr CurrencyDef kCurrencies[kCurrencyCount] = {
    {L"USD", L"US Dollar", L"$", 2, 0, 1.0},
    {L"EUR", L"Euro", L"\u20AC", 2, 1, 0.92},
    {L"GBP", L"Pound Sterling", L"\u00A3", 2, 0, 0.79},
    {L"JPY", L"Japanese Yen", L"\u00A5", 0, 0, 148.0},
    {L"CHF", L"Swiss Franc", L"CHF", 2, 1, 0.89},
};

// --- Account groups and accounts ---

enum Group { kCashGroup, kBankGroup, kSavingsGroup, kCardGroup, kForeignGroup, kGroupCount };

constexpr const wchar_t* kGroupNames[kGroupCount] = {L"Cash", L"Bank accounts", L"Savings",
                                                     L"Credit cards", L"Foreign accounts"};

enum Account {
  kWallet,
  kChecking,
  kSavings,
  kCard,
  kEuro,
  kSterling,
  kYen,
  kOldSavings,
  kAccountCount
};

struct AccountDef {
  const wchar_t* name;
  Currency currency;
  Group group;
  double initial;
  bool visible;
  uint32_t image;
};

constexpr AccountDef kAccounts[kAccountCount] = {
    {L"Wallet", kUSD, kCashGroup, 150, true, 1},
    {L"Checking", kUSD, kBankGroup, 2400, true, 2},
    {L"Savings", kUSD, kSavingsGroup, 8000, true, 3},
    {L"Credit card", kUSD, kCardGroup, 0, true, 4},
    {L"Euro account", kEUR, kForeignGroup, 1200, true, 2},
    {L"Sterling account", kGBP, kForeignGroup, 600, true, 2},
    {L"Yen travel cash", kJPY, kCashGroup, 20000, true, 1},
    {L"Old savings (closed)", kUSD, kSavingsGroup, 3000, false, 3},
};

// --- Payee tree ---

enum PayeeGroup {
  kNoPayee = -1,
  kSupermarkets,
  kRestaurants,
  kCafes,
  kFuel,
  kUtilities,
  kShops,
  kHealthPayees,
  kTransit,
  kEmployer,
  kBanks,
  kLandlord,
  kInsurers,
  kPayeeGroupCount
};

struct PayeeGroupDef {
  const wchar_t* name;
  std::array<const wchar_t*, 4> payees;  // null-terminated early when shorter
};

constexpr PayeeGroupDef kPayeeGroups[kPayeeGroupCount] = {
    {L"Supermarkets", {L"FreshMart", L"Valueway", L"Corner Grocer", L"Green Basket"}},
    {L"Restaurants", {L"Luigi's Trattoria", L"Sushi Garden", L"Burger Barn", L"Thai Orchid"}},
    {L"Caf\u00E9s", {L"Bean There", L"Morning Brew", nullptr, nullptr}},
    {L"Fuel stations", {L"QuickFuel", L"Roadstar", nullptr, nullptr}},
    {L"Utilities", {L"City Power", L"AquaWorks", L"NetLink", L"TelcoOne"}},
    {L"Shops", {L"TechHub", L"Threads & Co", L"PageTurner Books", L"HomeNest"}},
    {L"Health", {L"Wellcare Pharmacy", L"Riverside Clinic", L"IronGym", nullptr}},
    {L"Transit", {L"Metro Transit", L"City Cabs", nullptr, nullptr}},
    {L"Employer", {L"Acme Corp", nullptr, nullptr, nullptr}},
    {L"Banks", {L"First Civic Bank", nullptr, nullptr, nullptr}},
    {L"Landlord", {L"Maple Properties", nullptr, nullptr, nullptr}},
    {L"Insurers", {L"SafeHarbor Insurance", nullptr, nullptr, nullptr}},
};

// --- Category tree ---

struct LeafDef {
  const wchar_t* name;
  double min_usd;
  double max_usd;
  uint32_t weight;  // how often random transactions pick it; 0: only scheduled ones
  PayeeGroup payees;
};

struct TopDef {
  const wchar_t* name;
  std::vector<LeafDef> leaves;
};

const std::vector<TopDef>& ExpenseTree() {
  static const std::vector<TopDef> tree = {
      {L"Food",
       {{L"Groceries", 8, 160, 30, kSupermarkets},
        {L"Restaurants", 12, 90, 10, kRestaurants},
        {L"Coffee", 3, 9, 12, kCafes}}},
      {L"Home",
       {{L"Rent", 1450, 1450, 0, kLandlord},
        {L"Utilities", 40, 180, 3, kUtilities},
        {L"Internet", 50, 50, 0, kUtilities},
        {L"Household", 5, 60, 5, kSupermarkets},
        {L"Furniture", 30, 600, 1, kShops}}},
      {L"Transport",
       {{L"Fuel", 25, 90, 8, kFuel},
        {L"Public transport", 2, 40, 6, kTransit},
        {L"Parking", 2, 25, 3, kNoPayee},
        {L"Car service", 80, 900, 1, kNoPayee}}},
      {L"Health",
       {{L"Pharmacy", 4, 60, 4, kHealthPayees},
        {L"Doctor", 30, 250, 1, kHealthPayees},
        {L"Gym", 35, 35, 0, kHealthPayees}}},
      {L"Leisure",
       {{L"Cinema", 9, 30, 2, kNoPayee},
        {L"Books", 8, 45, 2, kShops},
        {L"Hobbies", 10, 150, 2, kShops},
        {L"Travel", 50, 1200, 1, kNoPayee}}},
      {L"Shopping",
       {{L"Clothes", 15, 200, 4, kShops},
        {L"Electronics", 20, 1500, 1, kShops},
        {L"Gifts", 10, 150, 2, kShops}}},
      {L"Bills",
       {{L"Phone", 20, 70, 2, kUtilities},
        {L"Insurance", 620, 620, 0, kInsurers},
        {L"Subscriptions", 5, 20, 3, kNoPayee}}},
  };
  return tree;
}

struct IncomeDef {
  const wchar_t* name;
  double min_usd;
  double max_usd;
  uint32_t weight;
  PayeeGroup payees;
  Account account;
};

constexpr IncomeDef kIncomes[] = {
    {L"Salary", 1800, 4200, 3, kEmployer, kChecking},
    {L"Bonus", 200, 1500, 1, kEmployer, kChecking},
    {L"Interest", 1, 40, 3, kBanks, kSavings},
    {L"Refunds", 5, 120, 3, kShops, kCard},
    {L"Freelance", 100, 900, 1, kNoPayee, kEuro},
    {L"Gifts received", 20, 300, 1, kNoPayee, kWallet},
};

// One transfer: `usd` dollars' worth leaves `from` and arrives in `to`.
struct Move {
  const wchar_t* name;
  Account from;
  Account to;
  double usd;
};

// The foreign accounts that transfers keep funded, with the dollar value they aim to hold.
constexpr Account kForeignAccounts[] = {kEuro, kSterling, kYen};

constexpr std::array<const wchar_t*, 5> kTagNames = {L"vacation", L"business", L"family",
                                                     L"reimbursable", L"home office"};
constexpr std::array<const wchar_t*, 5> kComments = {L"paid in cash", L"shared with Sam",
                                                     L"keep the receipt", L"birthday", L"on sale"};
constexpr std::array<const wchar_t*, 4> kSplitNames = {L"Supermarket receipt", L"Department store",
                                                       L"Weekend trip", L"Market day"};

struct ExpenseAccount {
  Account account;
  uint32_t weight;
};
constexpr ExpenseAccount kExpenseAccounts[] = {{kWallet, 20}, {kChecking, 40}, {kCard, 30},
                                               {kEuro, 5},    {kSterling, 3},  {kYen, 2}};

template <class T>
uint32_t TotalWeight(const T& items) {
  uint32_t total = 0;
  for (const auto& item : items) total += item.weight;
  return total;
}

// The DatabaseID of the book of `seed`: a bijective mix of the seed, so books of two seeds are
// never taken for copies of one database (seeds below 2^64 - 1 never share one; 0 is no ID).
uint64_t DatabaseIDOf(uint64_t seed) {
  uint64_t x = seed + 1;
  x ^= x >> 30;
  x *= 0xBF58476D1CE4E5B9ull;
  x ^= x >> 27;
  x *= 0x94D049BB133111EBull;
  x ^= x >> 31;
  return x == 0 ? 1 : x;
}

double RoundTo(double v, int decimals) {
  double scale = std::pow(10.0, decimals);
  return std::round(v * scale) / scale;
}

class Generator {
 public:
  Generator(DataBase& db, uint64_t seed, ADate today)
      : db_(db), rng_(seed), seed_(seed), today_(today), now_(ModStamp()) {}

  void Run(uint64_t transactions);

 private:
  // --- Randomness: plain arithmetic on the engine's output, so that a seed gives the same
  // book with every standard library. ---
  uint64_t Below(uint64_t n) { return n == 0 ? 0 : rng_() % n; }
  double Unit() { return static_cast<double>(rng_() >> 11) * 0x1.0p-53; }
  bool Chance(double p) { return Unit() < p; }
  template <class T>
  const auto& Pick(const T& items) {
    uint64_t r = Below(TotalWeight(items));
    for (const auto& item : items) {
      if (r < item.weight) return item;
      r -= item.weight;
    }
    return *std::begin(items);
  }
  ATime RandomTime() { return static_cast<ATime>((7 * 60 + Below(15 * 60)) * 60 * 1000); }
  // A value between min and max, small values more likely.
  double RandomUsd(double min, double max) {
    double u = Unit();
    return min + (max - min) * u * u;
  }

  // The stamp of a change made ten minutes after (date, time), never later than now.
  uint64_t StampAt(ADate d, ATime t) const {
    int64_t seconds = int64_t{d.Val} * 86400 + t / 1000 + 600;
    uint64_t stamp = seconds < 0 ? 0 : static_cast<uint64_t>(seconds) * 10000;
    return std::min(stamp, now_);
  }
  // Stores a new record with `stamp`; the undo step is renewed every kUndoBatch records.
  uint64_t Store(std::unique_ptr<TBaseEntry> e, uint64_t stamp);

  // Units of `currency` for one US dollar on day `d`.
  double PerUsd(Currency currency, ADate d) const;
  // `usd` dollars in the currency of `account` on day `d`, rounded to its decimals (at least
  // one unit of the last decimal).
  double InAccountCurrency(double usd, Account account, ADate d) const;

  void MakeHeader();
  void MakeCurrencies();
  void MakeAccounts();
  void MakeCategories();
  uint64_t AddCategory(const wchar_t* name, uint64_t parent, uint32_t order);

  std::unique_ptr<TTransaction> NewTransaction(ADate d, ATime t);
  struct Payee {
    uint64_t id;
    const wchar_t* name;
  };
  // A random payee of `group`, or null for kNoPayee.
  const Payee* RandomPayee(PayeeGroup group);
  uint64_t RandomPayeeID(PayeeGroup group) {
    const Payee* p = RandomPayee(group);
    return p == nullptr ? 0 : p->id;
  }
  // Fills `t` as an expense of `leaf` from `account`; the name is the payee or the category.
  void FillExpense(TTransaction& t, size_t leaf, Account account);
  void AddTags(TTransaction& t, size_t leaf);
  size_t PickLeaf();
  // Makes one transaction, or a split of up to `room` part transactions, on day `d`; returns
  // the count of transactions made.
  uint64_t MakeOne(ADate d, uint64_t room);
  void MakeExpense(ADate d);
  void MakeIncome(ADate d);
  // Stores `t`, keeping the running balances and the spending since the last salary.
  void StoreTransaction(std::unique_ptr<TTransaction> t, uint64_t stamp);
  // The dollar value of the balance of `account` on day `d`.
  double BalanceUsd(Account account, ADate d) const {
    return balance_[account] / PerUsd(kAccounts[account].currency, d);
  }
  // The transfer between the dollar accounts that their balances call for: paying the card,
  // refilling the wallet, saving a surplus or drawing on savings.
  Move LocalMove();
  // A currency exchange that keeps one foreign account funded, or brings a surplus home.
  Move ForeignMove(ADate d);
  void MakeTransfer(ADate d, const Move& move);
  uint64_t MakeSplit(ADate d, uint64_t parts);
  void MakeTransactions(uint64_t count);
  void MakeSchedules();
  void MakeDeletions(uint64_t count);

  DataBase& db_;
  std::mt19937_64 rng_;
  uint64_t seed_;
  ADate today_;
  ADate begin_;
  uint64_t now_;
  uint32_t batch_ = 0;

  std::array<uint64_t, kCurrencyCount> currency_ids_{};
  // Per currency: (day, units per dollar) from the book's first day on, in date order.
  std::array<std::vector<std::pair<ADate, double>>, kCurrencyCount> rates_;
  std::array<uint64_t, kGroupCount> group_ids_{};
  std::array<uint64_t, kAccountCount> account_ids_{};
  struct Leaf {
    const LeafDef* def;
    uint64_t id;
  };
  std::vector<Leaf> leaves_;  // the expense categories in tree order
  uint32_t leaf_weight_ = 0;
  std::array<uint64_t, std::size(kIncomes)> income_ids_{};
  std::array<std::vector<Payee>, kPayeeGroupCount> payees_;
  std::array<uint64_t, kTagNames.size()> tag_ids_{};
  // Running balances in each account's currency, and the dollar value of the expenses since
  // the last salary, which the next salary about makes up for.
  std::array<double, kAccountCount> balance_{};
  double spent_usd_ = 0;
};

uint64_t Generator::Store(std::unique_ptr<TBaseEntry> e, uint64_t stamp) {
  if (++batch_ == kUndoBatch) {
    db_.DropUndoStep();
    db_.BeginUndoStep(1);
    batch_ = 0;
  }
  return db_.StoreEntry(std::move(e), stamp);
}

double Generator::PerUsd(Currency currency, ADate d) const {
  const auto& series = rates_[currency];
  auto it = std::upper_bound(series.begin(), series.end(), d,
                             [](ADate day, const auto& entry) { return day < entry.first; });
  return it == series.begin() ? series.front().second : std::prev(it)->second;
}

double Generator::InAccountCurrency(double usd, Account account, ADate d) const {
  Currency c = kAccounts[account].currency;
  int decimals = kCurrencies[c].decimals;
  double v = RoundTo(usd * PerUsd(c, d), decimals);
  return std::max(v, std::pow(10.0, -decimals));
}

void Generator::MakeHeader() {
  db_.Header.DatabaseID = DatabaseIDOf(seed_);
  db_.Header.SettingsStamp = now_;
  db_.Header.Option0 = 0;  // weeks begin on Monday
  constexpr std::array<const wchar_t*, 3> kCaptions = {L"Custom field #1", L"Custom field #3",
                                                       L"Custom field #2"};
  for (size_t slot = 0; slot < kCaptions.size(); ++slot) {
    db_.DatabaseTexts[slot] = {db_.SetString(0, kCaptions[slot]), now_};
  }
}

void Generator::MakeCurrencies() {
  uint64_t stamp = StampAt(begin_, 9 * kHour);
  for (int c = 0; c < kCurrencyCount; ++c) {
    const CurrencyDef& def = kCurrencies[c];
    auto currency = std::make_unique<TCurrency>();
    currency->Name = def.name;
    currency->Symbol = def.symbol;
    currency->SetCode(def.code);
    currency->Data.Decimals = def.decimals;
    currency->Data.AlignRight = def.align_right;
    currency->Data.Default = c == kUSD ? 1 : 0;
    currency->Data.UpdateExRates = c == kUSD ? 0 : 1;
    currency->Data.ImageIndex = static_cast<uint32_t>(c);
    currency_ids_[c] = Store(std::move(currency), stamp);
  }
  // A rate per quarter for each currency against the dollar, drifting a little each time. The
  // dollar was made first, so its ID is the lower one of every pair, as rate records want.
  rates_[kUSD] = {{begin_, 1.0}};
  for (int c = kUSD + 1; c < kCurrencyCount; ++c) {
    double rate = kCurrencies[c].per_usd;
    int decimals = rate > 20 ? 2 : 4;
    for (ADate d = begin_; d <= today_; d = ADate(d.Val + 91)) {
      rates_[c].emplace_back(d, RoundTo(rate, decimals));
      auto record = std::make_unique<TExRate>();
      record->Data.FirstCurrencyID = currency_ids_[kUSD];
      record->Data.SecondCurrencyID = currency_ids_[c];
      record->Data.Rate = RoundTo(rate, decimals);
      record->Data.Date = d;
      Store(std::move(record), StampAt(d, 8 * kHour));
      rate *= 1 + (Unit() - 0.5) * 0.06;
    }
  }
}

void Generator::MakeAccounts() {
  uint64_t stamp = StampAt(begin_, 9 * kHour);
  for (int g = 0; g < kGroupCount; ++g) {
    auto group = std::make_unique<TAccGroup>();
    group->Name = kGroupNames[g];
    group->Data.CurrencyID = currency_ids_[kUSD];
    group->Data.ImageIndex = static_cast<uint32_t>(g);
    group_ids_[g] = Store(std::move(group), stamp);
    db_.SetSortOrder(group_ids_[g], static_cast<uint32_t>(g), true);
  }
  for (int a = 0; a < kAccountCount; ++a) {
    const AccountDef& def = kAccounts[a];
    auto account = std::make_unique<TAccount>();
    account->Name = def.name;
    if (!def.visible) account->Comment = L"Closed after moving the money to Savings";
    account->Data.CurrencyID = currency_ids_[def.currency];
    account->Data.GroupID = group_ids_[def.group];
    account->Data.ImageIndex = def.image;
    account->Data.InitialBalance = def.initial;
    account->Data.Visible = def.visible ? 1 : 0;
    balance_[a] = def.initial;
    account_ids_[a] = Store(std::move(account), stamp);
    db_.SetSortOrder(account_ids_[a], static_cast<uint32_t>(a), true);
  }
}

uint64_t Generator::AddCategory(const wchar_t* name, uint64_t parent, uint32_t order) {
  auto category = std::make_unique<TCategory>();
  category->Name = name;
  category->Data.RootID = parent;
  uint64_t id = Store(std::move(category), StampAt(begin_, 9 * kHour));
  db_.SetSortOrder(id, order, parent < 101);
  return id;
}

void Generator::MakeCategories() {
  uint32_t top_order = 0;
  for (const TopDef& top : ExpenseTree()) {
    uint64_t top_id = AddCategory(top.name, kCategoryRoot, top_order++);
    uint32_t order = 0;
    for (const LeafDef& leaf : top.leaves) {
      leaves_.push_back({&leaf, AddCategory(leaf.name, top_id, order++)});
      leaf_weight_ += leaf.weight;
    }
  }
  uint64_t income_top = AddCategory(L"Income", kCategoryRoot, top_order++);
  for (size_t i = 0; i < std::size(kIncomes); ++i) {
    income_ids_[i] = AddCategory(kIncomes[i].name, income_top, static_cast<uint32_t>(i));
  }
  for (int g = 0; g < kPayeeGroupCount; ++g) {
    uint64_t group_id = AddCategory(kPayeeGroups[g].name, kPayeeRoot, static_cast<uint32_t>(g));
    uint32_t order = 0;
    for (const wchar_t* payee : kPayeeGroups[g].payees) {
      if (payee != nullptr) payees_[g].push_back({AddCategory(payee, group_id, order++), payee});
    }
  }
  for (size_t i = 0; i < kTagNames.size(); ++i) {
    tag_ids_[i] = AddCategory(kTagNames[i], kTagRoot, static_cast<uint32_t>(i));
  }
}

std::unique_ptr<TTransaction> Generator::NewTransaction(ADate d, ATime t) {
  auto tr = std::make_unique<TTransaction>();
  tr->Data.Date = d;
  tr->Data.Time = t;
  int64_t age = int64_t{today_.Val} - d.Val;
  bool cleared = age >= 0 && (age < 10 ? !Chance(0.4) : !Chance(0.01));
  tr->Data.Cleared = cleared ? 1 : 0;
  return tr;
}

const Generator::Payee* Generator::RandomPayee(PayeeGroup group) {
  if (group == kNoPayee) return nullptr;
  const std::vector<Payee>& payees = payees_[group];
  return &payees[Below(payees.size())];
}

size_t Generator::PickLeaf() {
  uint64_t r = Below(leaf_weight_);
  for (size_t i = 0; i < leaves_.size(); ++i) {
    if (r < leaves_[i].def->weight) return i;
    r -= leaves_[i].def->weight;
  }
  return 0;
}

void Generator::FillExpense(TTransaction& t, size_t leaf, Account account) {
  const LeafDef& def = *leaves_[leaf].def;
  double amount = InAccountCurrency(RandomUsd(def.min_usd, def.max_usd), account, t.Data.Date);
  t.Data.WithdrawAccountID = account_ids_[account];
  t.Data.WithdrawAmount = amount;
  t.Data.TargetAmount = amount;
  t.Categories.CategoryID = leaves_[leaf].id;
  const Payee* payee = RandomPayee(def.payees);
  t.Categories.PayeeID = payee == nullptr ? 0 : payee->id;
  t.Name = payee == nullptr ? def.name : payee->name;
}

void Generator::AddTags(TTransaction& t, size_t leaf) {
  if (std::wstring_view(leaves_[leaf].def->name) == L"Travel" && Chance(0.5)) {
    t.Tags.push_back(tag_ids_[0]);
  }
  if (Chance(0.04)) t.Tags.push_back(tag_ids_[Below(tag_ids_.size())]);
  if (Chance(0.01)) t.Tags.push_back(tag_ids_[Below(tag_ids_.size())]);
}

void Generator::StoreTransaction(std::unique_ptr<TTransaction> t, uint64_t stamp) {
  for (int a = 0; a < kAccountCount; ++a) {
    if (t->Data.WithdrawAccountID == account_ids_[a]) balance_[a] -= t->Data.WithdrawAmount;
    if (t->Data.TargetAccountID == account_ids_[a]) balance_[a] += t->Data.TargetAmount;
  }
  if (t->Data.TargetAccountID == 0) {
    for (int a = 0; a < kAccountCount; ++a) {
      if (t->Data.WithdrawAccountID == account_ids_[a]) {
        spent_usd_ += t->Data.WithdrawAmount / PerUsd(kAccounts[a].currency, t->Data.Date);
      }
    }
  }
  Store(std::move(t), stamp);
}

void Generator::MakeExpense(ADate d) {
  ATime time = RandomTime();
  auto t = NewTransaction(d, time);
  size_t leaf = PickLeaf();
  Account account = Pick(kExpenseAccounts).account;
  FillExpense(*t, leaf, account);
  // An empty wallet makes people reach for the card.
  if (account == kWallet && balance_[kWallet] < t->Data.WithdrawAmount)
    FillExpense(*t, leaf, kCard);
  if (Chance(0.03)) t->Comment = kComments[Below(kComments.size())];
  t->Data.CustomCheckBox = Chance(0.02) ? 1 : 0;
  AddTags(*t, leaf);
  StoreTransaction(std::move(t), StampAt(d, time));
}

void Generator::MakeIncome(ADate d) {
  ATime time = RandomTime();
  auto t = NewTransaction(d, time);
  size_t i = static_cast<size_t>(&Pick(kIncomes) - kIncomes);
  const IncomeDef& def = kIncomes[i];
  double usd = RandomUsd(def.min_usd, def.max_usd);
  if (i == 0) {
    // The salary is about what was spent since the last one (the other incomes make the
    // surplus), so that the book neither drowns in debt nor in money whatever its density.
    usd = std::max(def.min_usd, std::round(spent_usd_ * (0.97 + 0.1 * Unit())));
    spent_usd_ = 0;
  }
  double amount = InAccountCurrency(usd, def.account, d);
  t->Data.TargetAccountID = account_ids_[def.account];
  t->Data.WithdrawAmount = amount;
  t->Data.TargetAmount = amount;
  t->Categories.CategoryID = income_ids_[i];
  t->Categories.PayeeID = RandomPayeeID(def.payees);
  t->Name = def.name;
  StoreTransaction(std::move(t), StampAt(d, time));
}

Move Generator::LocalMove() {
  if (balance_[kCard] < -200) return {L"Credit card payment", kChecking, kCard, -balance_[kCard]};
  if (balance_[kWallet] < 60) {
    return {L"ATM withdrawal", kChecking, kWallet, 100 + 20 * static_cast<double>(Below(11))};
  }
  if (balance_[kChecking] > 6000) {
    return {L"To savings", kChecking, kSavings,
            std::round((balance_[kChecking] - 3000) / 100) * 100};
  }
  if (balance_[kChecking] < 300 && balance_[kSavings] > 1500) {
    return {L"From savings", kSavings, kChecking, std::min(balance_[kSavings] - 500, 2000.0)};
  }
  return {L"ATM withdrawal", kChecking, kWallet, 20 + 20 * static_cast<double>(Below(10))};
}

Move Generator::ForeignMove(ADate d) {
  Account account = kForeignAccounts[Below(std::size(kForeignAccounts))];
  double usd = BalanceUsd(account, d);
  if (usd > 4000) return {L"Currency exchange", account, kChecking, std::round(usd - 2000)};
  const wchar_t* name = account == kYen ? L"Travel money" : L"Currency exchange";
  return {name, kChecking, account, std::round(RandomUsd(300, 1500))};
}

void Generator::MakeTransfer(ADate d, const Move& move) {
  ATime time = RandomTime();
  auto t = NewTransaction(d, time);
  t->Data.WithdrawAccountID = account_ids_[move.from];
  t->Data.TargetAccountID = account_ids_[move.to];
  t->Data.WithdrawAmount = InAccountCurrency(move.usd, move.from, d);
  t->Data.TargetAmount = InAccountCurrency(move.usd, move.to, d);
  // Within one currency the amounts are the same figure; card payments settle the debt exactly.
  if (move.to == kCard) t->Data.WithdrawAmount = t->Data.TargetAmount = RoundTo(move.usd, 2);
  t->Name = move.name;
  StoreTransaction(std::move(t), StampAt(d, time));
}

uint64_t Generator::MakeSplit(ADate d, uint64_t parts) {
  ATime time = RandomTime();
  Account account = Chance(0.5) ? kChecking : kCard;
  auto split = std::make_unique<TSplit>();
  split->Data.Date = d;
  split->Data.Time = time;
  split->Data.AccountID = account_ids_[account];
  split->Name = kSplitNames[Below(kSplitNames.size())];
  uint64_t split_id = Store(std::move(split), StampAt(d, time));
  int8_t cleared = NewTransaction(d, time)->Data.Cleared;
  uint64_t payee = RandomPayeeID(Chance(0.7) ? kSupermarkets : kShops);
  for (uint64_t p = 0; p < parts; ++p) {
    auto t = NewTransaction(d, time);
    size_t leaf = PickLeaf();
    FillExpense(*t, leaf, account);
    t->Name = leaves_[leaf].def->name;
    t->Categories.PayeeID = payee;
    t->Data.SplitID = split_id;
    t->Data.Cleared = cleared;
    StoreTransaction(std::move(t), StampAt(d, time));
  }
  return parts;
}

uint64_t Generator::MakeOne(ADate d, uint64_t room) {
  double r = Unit();
  if (r < 0.80) {
    MakeExpense(d);
  } else if (r < 0.85) {
    MakeIncome(d);
  } else if (r < 0.94) {
    MakeTransfer(d, LocalMove());
  } else if (r < 0.98) {
    MakeTransfer(d, ForeignMove(d));
  } else if (room >= 2) {
    return MakeSplit(d, std::min<uint64_t>(room, 2 + Below(3)));
  } else {
    MakeExpense(d);
  }
  return 1;
}

void Generator::MakeTransactions(uint64_t count) {
  if (count == 0) return;
  // The closed account's money moved to Savings on the book's first day.
  auto t = NewTransaction(begin_, 10 * kHour);
  t->Data.WithdrawAccountID = account_ids_[kOldSavings];
  t->Data.TargetAccountID = account_ids_[kSavings];
  t->Data.WithdrawAmount = t->Data.TargetAmount = kAccounts[kOldSavings].initial;
  t->Name = L"Closing old savings";
  StoreTransaction(std::move(t), StampAt(begin_, 10 * kHour));

  uint64_t future = count >= 20 ? std::max<uint64_t>(1, count / 200) : 0;
  uint64_t past = count - 1 - future;
  uint64_t span = static_cast<uint64_t>(today_.Val - begin_.Val) + 1;
  for (uint64_t made = 0; made < past;) {
    auto d = ADate(static_cast<int32_t>(begin_.Val + static_cast<int64_t>(made * span / past)));
    made += MakeOne(d, past - made);
  }
  for (uint64_t i = 0; i < future; ++i) {
    MakeExpense(
        ADate(static_cast<int32_t>(today_.Val + 1 + static_cast<int64_t>(i * 30 / future))));
  }
}

void Generator::MakeSchedules() {
  struct ScheduleDef {
    const wchar_t* name;
    uint8_t type;  // 2 daily, 3 weekly, 4 monthly
    uint16_t day;
    int weekday;     // weekly: 0 Monday .. 6 Sunday
    int only_month;  // monthly: -1 every month
    Account from;
    Account to;  // kAccountCount: none
    const wchar_t* category;
    PayeeGroup payees;
    double amount;
    int end_months;  // 0: no end
  };
  constexpr ScheduleDef kSchedules[] = {
      {L"Rent", 4, 1, 0, -1, kChecking, kAccountCount, L"Rent", kLandlord, 1450, 0},
      {L"Salary", 4, 25, 0, -1, kAccountCount, kChecking, L"Salary", kEmployer, 3200, 0},
      {L"Internet", 4, 12, 0, -1, kChecking, kAccountCount, L"Internet", kUtilities, 49.99, 0},
      {L"Gym membership", 4, 3, 0, -1, kCard, kAccountCount, L"Gym", kHealthPayees, 35, 0},
      {L"Weekly groceries", 3, 1, 5, -1, kCard, kAccountCount, L"Groceries", kSupermarkets, 85, 0},
      {L"To savings", 4, 26, 0, -1, kChecking, kSavings, nullptr, kNoPayee, 500, 0},
      {L"Car insurance", 4, 15, 0, 2, kChecking, kAccountCount, L"Insurance", kInsurers, 620, 0},
      {L"Phone instalment", 4, 5, 0, -1, kCard, kAccountCount, L"Phone", kUtilities, 29.5, 10},
  };
  for (const ScheduleDef& def : kSchedules) {
    auto s = std::make_unique<TScheduledTransaction>();
    TSchedule& rule = s->Schedule;
    rule.ScheduleType = def.type;
    rule.Day = def.day;
    // The first occurrence after today, so that nothing is due on the day the book is made.
    ADate next(today_.Val + 1);
    if (def.type == 3) {
      rule.WeekDays.fill(0);
      rule.WeekDays[static_cast<size_t>(def.weekday)] = 1;
      while (WeekdayOf(next) != def.weekday) next = ADate(next.Val + 1);
    } else {
      if (def.only_month >= 0) {
        rule.Months.fill(0);
        rule.Months[static_cast<size_t>(def.only_month)] = 1;
      }
      while (DayOf(next) != def.day || (def.only_month >= 0 && MonthOf(next) != def.only_month)) {
        next = ADate(next.Val + 1);
      }
    }
    rule.BeginDate = next;
    rule.End = def.end_months > 0 ? 1 : 0;
    rule.EndDate = def.end_months > 0
                       ? MakeADate(YearOf(next), MonthOf(next) + def.end_months, def.day)
                       : ADate(next.Val + 30);
    s->Data.Date = next;
    s->Data.Time = 9 * kHour;
    s->Data.Cleared = 0;
    s->Name = def.name;
    if (def.from != kAccountCount) s->Data.WithdrawAccountID = account_ids_[def.from];
    if (def.to != kAccountCount) s->Data.TargetAccountID = account_ids_[def.to];
    s->Data.WithdrawAmount = s->Data.TargetAmount = def.amount;
    if (def.category != nullptr) {
      for (const Leaf& leaf : leaves_) {
        if (std::wstring_view(leaf.def->name) == def.category) {
          s->Categories.CategoryID = leaf.id;
        }
      }
      for (size_t i = 0; i < std::size(kIncomes); ++i) {
        if (std::wstring_view(kIncomes[i].name) == def.category) {
          s->Categories.CategoryID = income_ids_[i];
        }
      }
    }
    s->Categories.PayeeID = RandomPayeeID(def.payees);
    Store(std::move(s), StampAt(ADate(today_.Val - 1 - static_cast<int32_t>(Below(300))), 0));
  }
}

void Generator::MakeDeletions(uint64_t count) {
  // Entries made by mistake and deleted again: each leaves a deletion marker for itself and for
  // its name.
  for (uint64_t i = 0; i < count; ++i) {
    ADate d(today_.Val - static_cast<int32_t>(Below(60)));
    ATime time = RandomTime();
    auto t = NewTransaction(d, time);
    FillExpense(*t, PickLeaf(), kChecking);
    uint64_t id = Store(std::move(t), StampAt(d, time));
    db_.DeleteEntry(1, id);
  }
}

void Generator::Run(uint64_t transactions) {
  uint64_t span_days = std::clamp<uint64_t>(transactions / 4, 730, 3652);
  begin_ = ADate(static_cast<int32_t>(today_.Val - static_cast<int64_t>(span_days) + 1));
  db_.BeginUndoStep(1);
  MakeHeader();
  MakeCurrencies();
  MakeAccounts();
  MakeCategories();
  MakeTransactions(transactions);
  MakeSchedules();
  MakeDeletions(std::max<uint64_t>(1, transactions / 1000));
  db_.DropUndoStep();

  TDBUserSettings settings;
  settings.DefaultCurrencyID = currency_ids_[kUSD];
  settings.DefaultAccountID = account_ids_[kChecking];
  settings.PeriodBegin = MakeADate(YearOf(today_), MonthOf(today_), 1);
  settings.PeriodEnd = MakeADate(YearOf(today_), MonthOf(today_) + 1, 0);
  db_.Header.UserSettings = settings;
  db_.UserSettings = settings;
  db_.Period = TimeInterval(settings.PeriodBegin, settings.PeriodEnd);
}

}  // namespace

void GenerateBook(DataBase& db, uint64_t transactions, uint64_t seed, ADate today) {
  platform::ScopedClockPin pin(int64_t{today.Val} * 86400 + 12 * 3600);
  db.Close();
  db.Loaded = true;
  db.SetCurrentUser(0);
  db.SeedIDs(static_cast<uint32_t>(seed ^ (seed >> 32)));
  Generator(db, seed, today).Run(transactions);
}

}  // namespace vemra
