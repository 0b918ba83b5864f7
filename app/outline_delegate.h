// The outline's in-place editors: a date picker for dates, and for the description, category
// and payee cells a line edit with the ranked suggestions of the book.
//
// Threads: GUI thread.
#pragma once

#include <QStyledItemDelegate>

#include "document/document.h"

namespace kestrum {

class OutlineDelegate : public QStyledItemDelegate {
  Q_OBJECT
 public:
  // Editors over `document`, which must outlive the delegate.
  OutlineDelegate(vemra::Document& document, QObject* parent = nullptr);

  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                        const QModelIndex& index) const override;
  void setEditorData(QWidget* editor, const QModelIndex& index) const override;
  void setModelData(QWidget* editor, QAbstractItemModel* model,
                    const QModelIndex& index) const override;

 private:
  vemra::Document& document_;
};

}  // namespace kestrum
