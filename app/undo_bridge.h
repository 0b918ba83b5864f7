// The document's undo registrar backed by a QUndoStack: every step the document opens becomes
// a command whose undo and redo call the document. The Edit menu takes its actions from the
// stack ("Undo edit", "Redo add"), and the stack's clean index follows the saves.
//
// Threads: the document reports steps on the thread that made the change; steps reported on
// another thread are handed to the stack's (the GUI) thread.
#pragma once

#include <QObject>
#include <QUndoStack>
#include <string>

#include "document/document.h"

namespace kestrum {

class UndoBridge : public QObject, public vemra::UndoRegistrar {
  Q_OBJECT
 public:
  // Registers itself with `document` (which must outlive it) and unregisters when destroyed.
  UndoBridge(vemra::Document& document, QObject* parent = nullptr);
  ~UndoBridge() override;

  QUndoStack* stack() { return &stack_; }

  void stepOpened(const std::string& action_name) override;
  void dropRedo() override;
  void clear() override;

 private:
  void OnGui(std::function<void()> work);

  vemra::Document& document_;
  QUndoStack stack_;
};

}  // namespace kestrum
