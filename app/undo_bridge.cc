#include "app/undo_bridge.h"

#include <QMetaObject>
#include <QThread>
#include <QUndoCommand>
#include <vector>

#include "platform/localization.h"

namespace kestrum {
namespace {

// One step of the document's history. QUndoStack::push calls redo() at once; the change is
// already applied by then, so that first call does nothing.
class DocumentStep : public QUndoCommand {
 public:
  DocumentStep(vemra::Document& document, std::string name)
      : document_(document), name_(std::move(name)) {
    setText(QString::fromStdString(name_));
  }
  void undo() override { document_.doUndo(name_); }
  void redo() override {
    if (first_) {
      first_ = false;
      return;
    }
    document_.doRedo(name_);
  }
  const std::string& name() const { return name_; }

 private:
  vemra::Document& document_;
  const std::string name_;
  bool first_ = true;
};

}  // namespace

UndoBridge::UndoBridge(vemra::Document& document, QObject* parent)
    : QObject(parent), document_(document) {
  document_.setUndoRegistrar(this);
}

UndoBridge::~UndoBridge() {
  document_.setUndoRegistrar(nullptr);
}

void UndoBridge::OnGui(std::function<void()> work) {
  if (QThread::currentThread() == thread()) {
    work();
  } else {
    QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
  }
}

void UndoBridge::stepOpened(const std::string& action_name) {
  OnGui([this, action_name] { stack_.push(new DocumentStep(document_, action_name)); });
}

void UndoBridge::dropRedo() {
  OnGui([this] {
    if (stack_.index() == stack_.count()) return;
    // QUndoStack cannot drop only its redo steps: keep the steps up to the current one and
    // push them again (their first redo does nothing).
    std::vector<std::string> kept;
    for (int i = 0; i < stack_.index(); ++i) {
      kept.push_back(static_cast<const DocumentStep*>(stack_.command(i))->name());
    }
    const bool clean = stack_.isClean();
    stack_.clear();
    for (const std::string& name : kept) stack_.push(new DocumentStep(document_, name));
    if (clean) stack_.setClean();
  });
}

void UndoBridge::clear() {
  OnGui([this] { stack_.clear(); });
}

}  // namespace kestrum
