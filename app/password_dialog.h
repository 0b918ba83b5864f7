// The password prompt of a protected book: shown window-modal over the document's window
// before any data shows. A wrong password keeps it open with the "Invalid password!" alert;
// Cancel gives up (the window then closes the document).
#pragma once

#include <QDialog>
#include <string>

class QLineEdit;

namespace kestrum {

class PasswordDialog : public QDialog {
  Q_OBJECT
 public:
  // A prompt for `password` (compared exactly, case-sensitive) showing `hint` when not empty.
  PasswordDialog(std::wstring password, const std::wstring& hint, QWidget* parent);

 signals:
  // Emitted once: true after the right password, false on Cancel.
  void passwordEntered(bool ok);

 public slots:
  void accept() override;
  void reject() override;

 private:
  const std::wstring password_;
  QLineEdit* field_;
};

}  // namespace kestrum
