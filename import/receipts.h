// Purchase receipts exported as JSON by a fiscal-receipt service, turned into splits: one TSplit
// per receipt (shop, address, date and time, payment marker, fiscal document number, total) with
// one TTransaction per purchased item; and the storing of such splits into an open book as one
// undoable import.
//
// Accepted layouts of the file: one receipt object; an object holding the receipt under
// "document" / "receipt" or "ticket" / "document" / "receipt"; or an array of any of these. Files
// over 64 MiB, bytes that are not UTF-8, text that is not JSON (NaN and Infinity included), and
// nesting deeper than 64 levels are refused as a whole. Within a readable file, a receipt that
// cannot be taken is skipped with a reason and the others go on.
//
// Threads: the readers are pure functions of their input and may run on any thread, several at
// once. StoreReceipts works like an editor model: call it from one thread, never on the
// document's queue, which it waits for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "core/records/split.h"
#include "document/document.h"

namespace vemra::import {

// Result codes of the readers.
constexpr int kReceiptsRead = 0;       // the file was read, even when it held no usable receipt
constexpr int kReceiptsNotJson = -1;   // too large, not UTF-8, not JSON, or nested too deeply
constexpr int kReceiptsCantOpen = -2;  // the file cannot be opened or read

// Files larger than this are refused without being parsed.
constexpr size_t kMaxReceiptFileSize = size_t{64} << 20;
// Deepest nesting of arrays and objects accepted.
constexpr int kMaxReceiptNesting = 64;
// Amounts and quantities must stay below this in size, as in the editors: every stored amount is
// then exact to the cent.
constexpr double kReceiptAmountLimit = 1e13;
// Items a file may yield in all. Every item becomes a transaction of about 200 bytes, so this
// bounds the memory a small file of empty items could claim; real exports within the size limit
// stay well below it.
constexpr size_t kMaxReceiptItems = 1000000;
// Skipped receipts listed with their reason; further ones are only counted.
constexpr size_t kMaxListedSkips = 1000;

// A receipt read from a file.
struct Receipt {
  // Name, Comment, Date, Time, FlagB 0, FiscalDocumentNumber and Total as read; AccountID is the
  // payment marker (1 paid electronically, 0 in cash); Transactions holds the items, each with
  // Name, WithdrawAmount, Quantity, the receipt's Date and Time, and Cleared 0.
  TSplit Split;
  size_t Index = 0;    // position of the receipt in the file's top-level array; 0 for a single one
  bool Dated = false;  // Date and Time came from the receipt (else they are today and now)
};

// A receipt that was not taken, and why ("already imported", "no items", ...).
struct SkippedReceipt {
  size_t Index = 0;  // as Receipt::Index
  std::string Reason;

  friend bool operator==(const SkippedReceipt&, const SkippedReceipt&) = default;
};

// What a reader got from one file.
struct ReceiptFile {
  std::vector<Receipt> Receipts;        // the usable receipts in file order
  std::vector<SkippedReceipt> Skipped;  // in file order, at most kMaxListedSkips
  size_t UnlistedSkips = 0;             // skipped receipts beyond the listed ones
  std::string Problem;                  // why the file was refused; empty when it was read
};

// Reads the receipts of `bytes` (a whole file's contents; a leading UTF-8 byte order mark is
// allowed) into `file`, which is cleared first. Returns kReceiptsRead, or kReceiptsNotJson with
// `file.Problem` set and no receipts. Never throws.
int ParseReceipts(std::string_view bytes, ReceiptFile& file);

// Reads the file at `path` and hands its bytes to ParseReceipts. Returns kReceiptsCantOpen with
// the system's reason in `file.Problem` when the file cannot be opened or read (a folder
// included), kReceiptsNotJson for a file over kMaxReceiptFileSize, else what ParseReceipts
// returns.
int ReadReceiptFile(const std::string& path, ReceiptFile& file);

// Appends one split per usable receipt of the file at `path` to `out`, in file order. Returns
// the code of ReadReceiptFile; `out` is unchanged unless it returns kReceiptsRead.
int ImportReceipts(const std::string& path, std::list<TSplit>& out);

// How StoreReceipts files the receipts.
struct ReceiptStoreOptions {
  uint64_t AccountID = 0;     // the account every split and item is paid from; must exist
  std::wstring CategoryPath;  // "Food/Groceries" under the category root; empty for none
  bool AllowDuplicates = false;
  bool DryRun = false;  // decide and report as usual, but change nothing
};

// A receipt StoreReceipts took.
struct ImportedReceipt {
  size_t Index = 0;
  bool Electronic = false;  // the payment marker read: paid electronically, not in cash
  // The split as stored, with its ID, and its items as stored (Transactions) with theirs; on a
  // dry run as it would be stored, IDs 0.
  TSplit Split;
};

// What StoreReceipts did with a file.
struct ReceiptImport {
  std::vector<ImportedReceipt> Imported;  // in file order
  std::vector<SkippedReceipt> Skipped;    // the file's and the duplicates, in file order
  size_t UnlistedSkips = 0;               // skipped receipts beyond the listed ones
};

// Stores the receipts of `file` in `document` as one undo step of kind 1 ("import"): per receipt
// a split paid from options.AccountID (flag B 0, so uncleared) with one expense per item from the
// same account, uncleared, filed under options.CategoryPath (its missing levels are created).
// A receipt dated by the file whose Date, Time, Name and item amounts equal a split of the book
// or an earlier receipt of the file is skipped as "already imported" unless
// options.AllowDuplicates. After storing, posts the update-data notification and schedules the
// sync journal; nothing is stored, and no undo step opened, when no receipt is taken or on a dry
// run. Returns false with `problem` set when the account is missing, the book is read-only or
// the category path names no single category (then nothing changed), or when a record was
// refused part way (the receipts stored until then stay, in the undo step).
bool StoreReceipts(Document& document, const ReceiptFile& file, const ReceiptStoreOptions& options,
                   ReceiptImport& result, std::string& problem);

}  // namespace vemra::import
