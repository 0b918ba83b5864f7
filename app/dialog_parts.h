// Parts every editor dialog has: the label of its validation messages and its Save and Cancel
// buttons with Ctrl+Return.
#pragma once

#include <QDialogButtonBox>
#include <QLabel>
#include <functional>
#include <string>
#include <vector>

class QDialog;

namespace kestrum {

// A word-wrapped label named "problems" in the palette's negative colour, hidden while empty.
QLabel* ProblemsLabel(QWidget* parent = nullptr);
// Shows `problems`, one per line, in `label`; hides it when there are none.
void ShowProblems(QLabel* label, const std::vector<std::string>& problems);
// Runs an editor model's `save` (which fills the reasons when it refuses): when it stores the
// entry, calls `saved` with the ID and accepts `dialog`; otherwise shows the reasons in
// `problems`. Returns whether it stored the entry.
bool SaveOrShowProblems(QDialog* dialog, QLabel* problems,
                        const std::function<uint64_t(std::vector<std::string>*)>& save,
                        const std::function<void(uint64_t)>& saved);
// Save (the default button) and Cancel for `dialog`: Save and Ctrl+Return call `save`, Cancel
// (and Escape) rejects the dialog.
QDialogButtonBox* SaveCancelButtons(QDialog* dialog, std::function<void()> save);

}  // namespace kestrum
