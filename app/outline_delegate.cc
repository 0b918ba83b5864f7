#include "app/outline_delegate.h"

#include <QDateEdit>
#include <QLineEdit>

#include "app/outline_model.h"
#include "app/suggestion_model.h"
#include "collections/interfaces.h"
#include "lists/suggestions.h"

namespace kestrum {

OutlineDelegate::OutlineDelegate(vemra::Document& document, QObject* parent)
    : QStyledItemDelegate(parent), document_(document) {}

QWidget* OutlineDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                       const QModelIndex& index) const {
  switch (index.column()) {
    case OutlineModel::kDate: {
      auto* editor = new QDateEdit(parent);
      editor->setCalendarPopup(true);
      return editor;
    }
    case OutlineModel::kName:
    case OutlineModel::kCategory:
    case OutlineModel::kPayee: {
      auto* editor = new QLineEdit(parent);
      std::unique_ptr<vemra::lists::SuggestionSource> source;
      if (index.column() == OutlineModel::kName) {
        source = vemra::lists::SuggestionSource::Descriptions(document_, -1);
      } else {
        source = vemra::lists::SuggestionSource::Categories(
            document_,
            index.column() == OutlineModel::kPayee ? vemra::kPayeeRoot : vemra::kCategoryRoot);
      }
      AttachSuggestions(editor, std::move(source));
      return editor;
    }
    default:
      return QStyledItemDelegate::createEditor(parent, option, index);
  }
}

void OutlineDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
  if (auto* date = qobject_cast<QDateEdit*>(editor)) {
    date->setDate(index.data(Qt::EditRole).toDate());
  } else if (auto* line = qobject_cast<QLineEdit*>(editor)) {
    line->setText(index.data(Qt::EditRole).toString());
  } else {
    QStyledItemDelegate::setEditorData(editor, index);
  }
}

void OutlineDelegate::setModelData(QWidget* editor, QAbstractItemModel* model,
                                   const QModelIndex& index) const {
  if (auto* date = qobject_cast<QDateEdit*>(editor)) {
    model->setData(index, date->date(), Qt::EditRole);
  } else if (auto* line = qobject_cast<QLineEdit*>(editor)) {
    // Leaving a cell unchanged writes nothing (and opens no undo step).
    if (line->text() != index.data(Qt::EditRole).toString()) {
      model->setData(index, line->text(), Qt::EditRole);
    }
  } else {
    QStyledItemDelegate::setModelData(editor, model, index);
  }
}

}  // namespace kestrum
