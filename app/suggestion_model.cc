#include "app/suggestion_model.h"

#include <QAbstractItemView>
#include <QLineEdit>
#include <QTimer>

#include "app/texts.h"

namespace kestrum {

namespace {
constexpr int kRetries = 7;
}  // namespace

SuggestionModel::SuggestionModel(std::unique_ptr<vemra::lists::SuggestionSource> source,
                                 QObject* parent)
    : QAbstractListModel(parent), source_(std::move(source)) {}

void SuggestionModel::setText(const QString& text) {
  if (text != text_) retries_ = 0;
  text_ = text;
  std::vector<vemra::lists::Suggestion> rows = source_->suggestionsForText(ToWide(text));
  beginResetModel();
  rows_ = std::move(rows);
  endResetModel();
  // A source answers nothing while its candidates load: ask again a little later, waiting
  // twice as long each time (about six seconds in all, enough for the largest books), so
  // that a text matching nothing costs only a few tries.
  if (rows_.empty() && !text.trimmed().isEmpty() && retries_ < kRetries) {
    const int delay = 50 << retries_;
    ++retries_;
    QTimer::singleShot(delay, this, [this, text] {
      if (text == text_) setText(text);
    });
    return;
  }
  emit ranked();
}

const vemra::lists::Suggestion* SuggestionModel::suggestion(int row) const {
  return row >= 0 && row < static_cast<int>(rows_.size()) ? &rows_[row] : nullptr;
}

int SuggestionModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant SuggestionModel::data(const QModelIndex& index, int role) const {
  const vemra::lists::Suggestion* s = suggestion(index.row());
  if (s == nullptr || index.column() != 0) return {};
  switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
      return FromWide(s->entryName);
    case Qt::ToolTipRole:
      return s->Type >= 0 && !s->categoryName.empty() ? QVariant(FromWide(s->categoryName))
                                                      : QVariant();
    default:
      return {};
  }
}

QCompleter* AttachSuggestions(QLineEdit* field,
                              std::unique_ptr<vemra::lists::SuggestionSource> source,
                              std::function<void(const vemra::lists::Suggestion&)> chosen) {
  auto* model = new SuggestionModel(std::move(source), field);
  auto* completer = new QCompleter(model, field);
  completer->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
  completer->setMaxVisibleItems(10);
  completer->setWidget(field);
  QObject::connect(field, &QLineEdit::textEdited, model,
                   [model](const QString& text) { model->setText(text); });
  QObject::connect(model, &SuggestionModel::ranked, completer, [completer, model, field] {
    if (!field->hasFocus() || model->rowCount() == 0) {
      completer->popup()->hide();
      return;
    }
    completer->complete();
  });
  QObject::connect(completer, qOverload<const QModelIndex&>(&QCompleter::activated), field,
                   [field, model, chosen](const QModelIndex& index) {
                     const vemra::lists::Suggestion* s = model->suggestion(index.row());
                     if (s == nullptr) return;
                     field->setText(FromWide(s->entryName));
                     if (chosen) chosen(*s);
                   });
  return completer;
}

}  // namespace kestrum
