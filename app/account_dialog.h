// The account editor: a dialog over editors::AccountEditModel for an account (name, currency,
// group, opening balance, closed/hidden, comment) or an account group (name, currency,
// comment), with the model's validation shown inline. Save or Ctrl+Return saves and closes;
// Escape or Cancel closes without saving.
//
// Threads: GUI thread.
#pragma once

#include <QDialog>
#include <utility>
#include <vector>

#include "document/document.h"
#include "editors/account_edit_model.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;

namespace kestrum {

class AccountDialog : public QDialog {
  Q_OBJECT
 public:
  // Opens account `id` (with `is_group`, group `id`; 0: a new one) of `document`, which must
  // outlive the dialog. `groups` are the groups an account can join (ID, name).
  AccountDialog(vemra::Document& document, uint64_t id, bool is_group,
                const std::vector<std::pair<uint64_t, QString>>& groups, QWidget* parent = nullptr);

  vemra::editors::AccountEditModel& model() { return model_; }

 Q_SIGNALS:
  void saved(quint64 id);

 public Q_SLOTS:
  // Saves and closes; a refused save keeps the dialog open with the reasons shown.
  bool save();

 private:
  void Refresh();

  vemra::editors::AccountEditModel model_;
  QComboBox* kind_;
  QLineEdit* name_;
  QComboBox* currency_;
  QComboBox* group_;
  QLineEdit* opening_;
  QCheckBox* hidden_;
  QLineEdit* comment_;
  QLabel* problems_;
};

}  // namespace kestrum
