// The suggestions of a description, category or payee field as a Qt list model, and the
// completer that shows them under a line edit: the book's candidates ranked as the text is
// typed (prefix matches, then word matches, then category matches), at most ten rows visible.
//
// Threads: GUI thread. The candidates load on the document's queue.
#pragma once

#include <QAbstractListModel>
#include <QCompleter>
#include <functional>
#include <memory>
#include <vector>

#include "lists/suggestions.h"

class QLineEdit;

namespace kestrum {

class SuggestionModel : public QAbstractListModel {
  Q_OBJECT
 public:
  // Rows from `source`, which the model owns; empty until setText.
  explicit SuggestionModel(std::unique_ptr<vemra::lists::SuggestionSource> source,
                           QObject* parent = nullptr);

  // Ranks the candidates for `text` and resets the model. While the candidates are still
  // loading the rows stay empty and the text is tried again shortly.
  void setText(const QString& text);
  // The suggestion of row `row`; null when out of range.
  const vemra::lists::Suggestion* suggestion(int row) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;

 Q_SIGNALS:
  // The rows changed for the text last set.
  void ranked();

 private:
  std::unique_ptr<vemra::lists::SuggestionSource> source_;
  std::vector<vemra::lists::Suggestion> rows_;
  QString text_;
  int retries_ = 0;
};

// Shows the suggestions of `source` under `field` as the user types (a QCompleter in
// unfiltered-popup mode, ten rows visible). `chosen`, when given, gets each suggestion picked.
// The completer and its model belong to `field`.
QCompleter* AttachSuggestions(
    QLineEdit* field, std::unique_ptr<vemra::lists::SuggestionSource> source,
    std::function<void(const vemra::lists::Suggestion&)> chosen = nullptr);

}  // namespace kestrum
