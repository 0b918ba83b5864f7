// The schedule part of the transaction editor, over editors::ScheduleEditModel: every N days;
// every, odd or even weeks on chosen weekdays (with the current week's parity shown); or a day
// of chosen months; an optional finish date; and the next few occurrences. Every change hands
// the whole schedule to onChanged.
//
// Threads: GUI thread.
#pragma once

#include <QWidget>
#include <array>
#include <functional>

#include "editors/schedule_edit_model.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
class QSpinBox;
class QStackedWidget;

namespace kestrum {

class ScheduleEditor : public QWidget {
  Q_OBJECT
 public:
  explicit ScheduleEditor(QWidget* parent = nullptr);

  // Shows `schedule` (its type picks daily, weekly or monthly); onChanged is not called.
  void setSchedule(const vemra::TSchedule& schedule);
  const vemra::TSchedule& schedule() const { return model_.schedule(); }

  // Receives the complete schedule after every change of a control.
  std::function<void(const vemra::TSchedule&)> onChanged;

 private:
  void Show();

  vemra::editors::ScheduleEditModel model_;
  bool showing_ = false;
  QStackedWidget* pages_;
  QSpinBox* every_;
  QComboBox* week_type_;
  std::array<QCheckBox*, 7> weekdays_{};
  QLabel* current_week_;
  QComboBox* day_;
  std::array<QCheckBox*, 12> months_{};
  QCheckBox* finish_;
  QDateEdit* finish_date_;
  QLabel* next_;
};

}  // namespace kestrum
