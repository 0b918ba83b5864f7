// The preferences: language (system, English, Russian), theme (system, light, dark), autosave
// and the exchange-rate service's address, stored with app_settings. The theme applies at once;
// a new language at the next start.
#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLineEdit;

namespace kestrum {

class PreferencesDialog : public QDialog {
  Q_OBJECT
 public:
  explicit PreferencesDialog(QWidget* parent = nullptr);

 public slots:
  // Stores and applies the choices; tells when the language changes only after a restart.
  void accept() override;

 private:
  QComboBox* language_;
  QComboBox* theme_;
  QCheckBox* autosave_;
  QLineEdit* quotes_host_;
};

}  // namespace kestrum
