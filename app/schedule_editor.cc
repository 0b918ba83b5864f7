#include "app/schedule_editor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QSpinBox>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "app/outline_model.h"
#include "app/texts.h"
#include "platform/localization.h"

namespace kestrum {
namespace {

using Tab = vemra::editors::ScheduleEditModel::Tab;

QLocale EditorLocale() {
  return vemra::platform::Language() == "ru" ? QLocale(QLocale::Russian)
                                             : QLocale(QLocale::English, QLocale::UnitedStates);
}

}  // namespace

ScheduleEditor::ScheduleEditor(QWidget* parent)
    : QWidget(parent),
      pages_(new QStackedWidget),
      every_(new QSpinBox),
      week_type_(new QComboBox),
      current_week_(new QLabel),
      day_(new QComboBox),
      finish_(new QCheckBox(Tx(20527))),
      finish_date_(new QDateEdit),
      next_(new QLabel) {
  const QLocale locale = EditorLocale();
  // Daily: every N days.
  auto* daily = new QWidget;
  auto* daily_row = new QHBoxLayout(daily);
  daily_row->setContentsMargins(0, 0, 0, 0);
  every_->setRange(1, 999);
  every_->setPrefix(Tx(20526));
  every_->setSuffix(Tx(20570));
  daily_row->addWidget(every_);
  daily_row->addStretch();
  connect(every_, &QSpinBox::valueChanged, this, [this](int n) {
    if (!showing_) model_.setInterval(std::to_string(n));
  });
  // Weekly: which weeks, which weekdays.
  auto* weekly = new QWidget;
  auto* weekly_grid = new QGridLayout(weekly);
  weekly_grid->setContentsMargins(0, 0, 0, 0);
  for (int key : {20571, 20572, 20573}) week_type_->addItem(Tx(key));
  weekly_grid->addWidget(week_type_, 0, 0, 1, 4);
  weekly_grid->addWidget(current_week_, 0, 4, 1, 3);
  for (int d = 0; d < 7; ++d) {
    // Monday is 1 in Qt's numbering.
    weekdays_[d] = new QCheckBox(locale.dayName(d + 1, QLocale::ShortFormat));
    weekdays_[d]->setObjectName(QStringLiteral("weekday%1").arg(d));
    weekly_grid->addWidget(weekdays_[d], 1, d);
    connect(weekdays_[d], &QCheckBox::toggled, this, [this, d](bool on) {
      if (!showing_) model_.setWeekday(d, on);
    });
  }
  connect(week_type_, &QComboBox::activated, this, [this](int item) { model_.setWeekType(item); });
  // Monthly: which day, which months.
  auto* monthly = new QWidget;
  auto* monthly_grid = new QGridLayout(monthly);
  monthly_grid->setContentsMargins(0, 0, 0, 0);
  for (int d = 1; d <= 31; ++d) day_->addItem(QString::number(d));
  day_->addItem(Tx(20574));
  day_->addItem(Tx(20575));
  monthly_grid->addWidget(day_, 0, 0, 1, 3);
  connect(day_, &QComboBox::activated, this, [this](int item) { model_.setDayItem(item); });
  for (int m = 0; m < 12; ++m) {
    months_[m] = new QCheckBox(locale.standaloneMonthName(m + 1, QLocale::ShortFormat));
    monthly_grid->addWidget(months_[m], 1 + m / 6, m % 6);
    connect(months_[m], &QCheckBox::toggled, this, [this, m](bool on) {
      if (!showing_) model_.setMonth(m, on);
    });
  }
  pages_->addWidget(daily);
  pages_->addWidget(weekly);
  pages_->addWidget(monthly);

  finish_date_->setCalendarPopup(true);
  connect(finish_, &QCheckBox::toggled, this, [this](bool on) {
    if (!showing_) model_.setFinish(on);
  });
  connect(finish_date_, &QDateEdit::dateChanged, this, [this](const QDate& date) {
    if (!showing_) model_.setFinishDate(OutlineModel::FromQDate(date));
  });
  auto* finish_row = new QHBoxLayout;
  finish_row->addWidget(finish_);
  finish_row->addWidget(finish_date_, 1);
  next_->setWordWrap(true);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(pages_);
  layout->addLayout(finish_row);
  layout->addWidget(next_);

  model_.onScheduleUpdated = [this](const vemra::TSchedule& schedule) {
    Show();
    if (onChanged) onChanged(schedule);
  };
}

void ScheduleEditor::setSchedule(const vemra::TSchedule& schedule) {
  model_.setSchedule(schedule);
  Show();
}

void ScheduleEditor::Show() {
  showing_ = true;
  const vemra::TSchedule& s = model_.schedule();
  pages_->setCurrentIndex(static_cast<int>(model_.tab()));
  bool ok = false;
  const int every = QString::fromStdString(model_.interval()).toInt(&ok);
  every_->setValue(ok && every > 0 ? every : 1);
  week_type_->setCurrentIndex(std::clamp<int>(s.WeekType, 0, 2));
  current_week_->setText(QString::fromStdString(
      vemra::editors::ScheduleEditModel::CurrentWeekText(vemra::TodayADate())));
  for (int d = 0; d < 7; ++d) weekdays_[d]->setChecked(s.WeekDays[d] != 0);
  day_->setCurrentIndex(model_.dayItem());
  for (int m = 0; m < 12; ++m) months_[m]->setChecked(s.Months[m] != 0);
  finish_->setChecked(model_.isFinishDateEnabled());
  finish_date_->setEnabled(model_.isFinishDateEnabled());
  finish_date_->setDate(s.End != 0 ? OutlineModel::ToQDate(s.EndDate)
                                   : OutlineModel::ToQDate(s.BeginDate).addMonths(1));
  // The next occurrences, so that the choice can be checked at a glance.
  const vemra::ADate today = vemra::TodayADate();
  QStringList dates;
  for (vemra::ADate d : model_.occurrences(today, vemra::ADate(today.Val + 400), 4)) {
    dates << EditorLocale().toString(OutlineModel::ToQDate(d), QLocale::ShortFormat);
  }
  next_->setText(dates.isEmpty() ? QString() : Tx(20576).arg(dates.join(QStringLiteral(", "))));
  showing_ = false;
}

}  // namespace kestrum
