// `import-receipt`: purchase receipts of a fiscal-receipt JSON export stored as splits, one undo
// step per file, as File > Import receipt… does in the app.
#include <cmath>
#include <cstdio>

#include "cli/book_session.h"
#include "import/receipts.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kImportReceiptUsage =
    "usage: kestrum-cli import-receipt FILE RECEIPT.json [--account NAME_OR_ID] [--category PATH]\n"
    "           [--dry-run] [--allow-duplicates] [--json]\n"
    "\n"
    "Stores the purchase receipts of a fiscal-receipt JSON export (one receipt, one wrapped in\n"
    "\"document\" or \"ticket\", or an array of them; at most 64 MiB) as splits: one split per\n"
    "receipt, named after the buyer or shop, with the shop's address as comment and the\n"
    "receipt's date and time (today and now when it has none), and one expense per item. The\n"
    "split and its items are paid from ACCOUNT (the book's default account when not given) and\n"
    "are uncleared; the items are filed under the category PATH ('Food/Groceries'; missing\n"
    "levels are made). Amounts are stored as read, in the account's currency. A dated receipt\n"
    "whose date, time, name and item amounts equal a split of the book, or an earlier receipt\n"
    "of the file, is skipped as already imported unless --allow-duplicates is given; a receipt\n"
    "without items, or with an amount or quantity of 10^13 or more, is skipped with its reason.\n"
    "The whole file is one undo step. --dry-run shows what would be imported and writes nothing.\n"
    "JSON: {\"imported\": [{\"SplitID\", \"Name\", \"Comment\", \"Date\", \"Time\" (ms), \"paid\"\n"
    "(\"cash\" or \"electronic\"), \"total\", \"fiscalDocumentNumber\", \"items\": [{\"ID\",\n"
    "\"Name\", \"WithdrawAmount\", \"Quantity\"}]}], \"skipped\": [{\"receipt\", \"reason\"}]},\n"
    "receipts numbered from 0 in file order; the IDs are null with --dry-run. Beyond 1000\n"
    "skipped receipts the rest are only counted (\"unlisted\").\n"
    "Exit status: 0 when a receipt was imported (or would be), 1 when the file cannot be read\n"
    "or nothing was imported (the book is then not written), 2 bad usage.\n";

std::string FormatClock(uint32_t ms) {
  char text[8];
  std::snprintf(text, sizeof text, "%02u:%02u", ms / 3600000 % 24, ms / 60000 % 60);
  return text;
}

Json ReceiptJson(const import::ImportedReceipt& r, bool dry_run) {
  const TSplit& s = r.Split;
  Json items = Json::array();
  for (const TTransaction& t : s.Transactions) {
    Json item;
    item["ID"] = dry_run ? Json() : Json(t.Header.ID);
    item["Name"] = TextToUtf8(t.Name.str());
    item["WithdrawAmount"] = t.Data.WithdrawAmount;
    item["Quantity"] = t.Data.Quantity;
    items.push_back(std::move(item));
  }
  Json j;
  j["receipt"] = r.Index;
  j["SplitID"] = dry_run ? Json() : Json(s.Header.ID);
  j["Name"] = TextToUtf8(s.Name.str());
  j["Comment"] = TextToUtf8(s.Comment.str());
  j["Date"] = FormatDate(s.Data.Date);
  j["Time"] = s.Data.Time;
  j["paid"] = r.Electronic ? "electronic" : "cash";
  j["total"] = s.Total;
  j["fiscalDocumentNumber"] = s.FiscalDocumentNumber;
  j["items"] = std::move(items);
  return j;
}

// One line per receipt, its items below it, the skipped ones after them.
void WriteText(std::ostream& out, const import::ReceiptImport& result, const Money& money,
               bool dry_run) {
  for (const import::ImportedReceipt& r : result.Imported) {
    const TSplit& s = r.Split;
    out << "receipt " << r.Index << ": ";
    if (!dry_run) out << "split " << s.Header.ID << ", ";
    out << FormatDate(s.Data.Date) << " " << FormatClock(s.Data.Time);
    if (!s.Name.empty()) out << " " << TextToUtf8(s.Name.str());
    out << ", " << s.Transactions.size() << (s.Transactions.size() == 1 ? " item" : " items")
        << ", total " << money.Format(s.Total) << " (" << (r.Electronic ? "electronic" : "cash")
        << ")\n";
    for (const TTransaction& t : s.Transactions) {
      out << "  ";
      if (!dry_run) out << t.Header.ID << " ";
      out << (t.Name.empty() ? "(no name)" : TextToUtf8(t.Name.str()));
      if (t.Data.Quantity != 1) {
        char quantity[32];
        std::snprintf(quantity, sizeof quantity, " x %g", t.Data.Quantity);
        out << quantity;
      }
      out << "  " << money.Format(t.Data.WithdrawAmount) << "\n";
    }
  }
  for (const import::SkippedReceipt& s : result.Skipped) {
    out << "skipped receipt " << s.Index << ": " << s.Reason << "\n";
  }
  if (result.UnlistedSkips != 0) out << "skipped " << result.UnlistedSkips << " more receipts\n";
}

}  // namespace

int ImportReceiptCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const std::vector<std::string_view> valued = {"--account", "--category"};
  const std::vector<std::string_view> flags = {"--dry-run", "--allow-duplicates", "--json"};
  const Shape shape{
      kImportReceiptUsage, valued, flags, 2, 2, "give FILE and RECEIPT.json", [](const Parsed& p) {
        return !p.Has("--dry-run");
      }};
  if (WantsHelp(args)) return Help(out, shape.usage);
  // The words and the receipt file are checked before the book is opened, so that a wrong
  // command line or an unreadable export leaves the book alone.
  Parsed early;
  {
    std::string problem;
    std::vector<std::string_view> with_password = valued;
    with_password.push_back("--password");
    if (!Parse(args, with_password, flags, early, problem)) {
      return Usage(err, shape.usage, problem);
    }
    if (early.positional.size() != 2) return Usage(err, shape.usage, shape.wrong_count);
  }
  std::wstring category;
  if (const std::string* path = early.Last("--category");
      path != nullptr && !Utf8ToWide(*path, category)) {
    return Usage(err, shape.usage, "--category is not UTF-8 text");
  }
  const std::string& receipt_path = early.positional[1];
  import::ReceiptFile file;
  switch (import::ReadReceiptFile(receipt_path, file)) {
    case import::kReceiptsRead:
      break;
    case import::kReceiptsCantOpen:
      return Refuse(err, "Can't open file " + receipt_path + ": " + file.Problem);
    default:
      return Refuse(err, receipt_path + " is not a receipt export: " + file.Problem);
  }

  Parsed p;
  Session session;
  if (int status = ParseAndOpen(args, shape, p, session, out, err); status != kOpened) {
    return status;
  }
  Document& d = session.document();
  const bool dry_run = p.Has("--dry-run");
  import::ReceiptStoreOptions options;
  options.CategoryPath = category;
  options.AllowDuplicates = p.Has("--allow-duplicates");
  options.DryRun = dry_run;
  std::string problem, account_name;
  Money money;
  d.Sync([&] {
    Book& db = d.database();
    if (const std::string* key = p.Last("--account")) {
      options.AccountID = FindAccount(db, *key, problem);
    } else if ((options.AccountID = db.Accounts().GetDefaultAccountID()) == 0) {
      problem = "the book has no account to pay the receipts from";
    }
    money = MoneyOf(db, db.Accounts().GetCurrencyID(options.AccountID));
    account_name = AccountName(db, options.AccountID);
  });
  if (options.AccountID == 0) return session.Finish(Refuse(err, problem), err);

  import::ReceiptImport result;
  if (!import::StoreReceipts(d, file, options, result, problem)) {
    return session.Finish(Refuse(err, problem), err);
  }
  const bool imported = !result.Imported.empty(), none_read = file.Receipts.empty();
  file = import::ReceiptFile();  // its copies are stored; the memory goes back before the save
  if (imported && !dry_run) {
    if (int status = session.Save(err); status != kExitOK) return session.Finish(status, err);
  }
  if (p.Has("--json")) {
    Json j;
    j["imported"] = Json::array();
    for (const import::ImportedReceipt& r : result.Imported) {
      j["imported"].push_back(ReceiptJson(r, dry_run));
    }
    j["skipped"] = Json::array();
    for (const import::SkippedReceipt& s : result.Skipped) {
      Json skipped;
      skipped["receipt"] = s.Index;
      skipped["reason"] = s.Reason;
      j["skipped"].push_back(std::move(skipped));
    }
    if (result.UnlistedSkips != 0) j["unlisted"] = result.UnlistedSkips;
    WriteJsonLine(out, j);
  } else {
    WriteText(out, result, money, dry_run);
  }
  if (!imported) {
    return session.Finish(
        Refuse(err, none_read ? receipt_path + " holds no receipt with items"
                              : "no receipt was imported; the book was not written"),
        err);
  }
  if (!p.Has("--json")) {
    out << (dry_run ? "would import " : "imported ") << result.Imported.size()
        << (result.Imported.size() == 1 ? " receipt" : " receipts") << " into " << account_name
        << (dry_run ? "; nothing was written\n" : "\n");
  }
  return session.Finish(kExitOK, err);
}

}  // namespace vemra::cli
