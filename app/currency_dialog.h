// The currency editor: a dialog over editors::CurrencyEditModel (name, code, symbol and its
// position, decimals) with the model's validation shown inline. Save or Ctrl+Return saves and
// closes; Escape or Cancel closes without saving.
//
// Threads: GUI thread.
#pragma once

#include <QDialog>
#include <memory>

#include "document/document.h"
#include "editors/currency_edit_model.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

namespace kestrum {

class CurrencyDialog : public QDialog {
  Q_OBJECT
 public:
  // Opens currency `currency_id` (0: a new one) of `document`, which must outlive the dialog.
  CurrencyDialog(vemra::Document& document, uint64_t currency_id, QWidget* parent = nullptr);

  vemra::editors::CurrencyEditModel& model() { return model_; }

 Q_SIGNALS:
  void saved(quint64 id);

 public Q_SLOTS:
  // Saves and closes; a refused save keeps the dialog open with the reasons shown.
  bool save();

 private:
  void Revalidate();  // shows the reasons once something changed

  vemra::editors::CurrencyEditModel model_;
  QLineEdit* name_;
  QLineEdit* code_;
  QLineEdit* symbol_;
  QComboBox* position_;
  QSpinBox* decimals_;
  QLabel* problems_;
};

}  // namespace kestrum
