#include "app/dialog_parts.h"

#include <QDialog>
#include <QPushButton>
#include <QShortcut>

#include "app/texts.h"
#include "app/view_colors.h"

namespace kestrum {

QLabel* ProblemsLabel(QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setObjectName(QStringLiteral("problems"));
  label->setWordWrap(true);
  QPalette warning = label->palette();
  warning.setColor(QPalette::WindowText, NegativeText(warning));
  label->setPalette(warning);
  label->hide();
  return label;
}

void ShowProblems(QLabel* label, const std::vector<std::string>& problems) {
  QStringList lines;
  for (const std::string& p : problems) lines << QString::fromStdString(p);
  label->setText(lines.join(QLatin1Char('\n')));
  label->setVisible(!lines.isEmpty());
}

bool SaveOrShowProblems(QDialog* dialog, QLabel* problems,
                        const std::function<uint64_t(std::vector<std::string>*)>& save,
                        const std::function<void(uint64_t)>& saved) {
  std::vector<std::string> reasons;
  const uint64_t id = save(&reasons);
  if (id == 0) {
    ShowProblems(problems, reasons);
    return false;
  }
  saved(id);
  dialog->accept();
  return true;
}

QDialogButtonBox* SaveCancelButtons(QDialog* dialog, std::function<void()> save) {
  auto* buttons = new QDialogButtonBox(dialog);
  QPushButton* save_button = buttons->addButton(Tx(20528), QDialogButtonBox::AcceptRole);
  save_button->setDefault(true);
  save_button->setToolTip(QStringLiteral("Ctrl+Return"));
  buttons->addButton(Tx(2), QDialogButtonBox::RejectRole);
  QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, save);
  QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
  for (QKeySequence keys :
       {QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)}) {
    QObject::connect(new QShortcut(keys, dialog), &QShortcut::activated, dialog, save);
  }
  return buttons;
}

}  // namespace kestrum
