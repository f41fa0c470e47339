// Tagging records from the window: the context menu the trace tables and the Timeline share (the
// labels offered, a word of the examiner's own, a note, no tag) and the change it makes in the
// case file.
#pragma once

#include <QPoint>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

#include "platform/cases/case_file.h"

class QWidget;

namespace kestrova {

inline const QStringList kTagLabels{QStringLiteral("relevant"), QStringLiteral("suspicious"), QStringLiteral("reviewed")};

// Shows the menu at `at` (global); `apply(label, note)` is called with the choice: a label ("-":
// remove the tag, "": keep the label), a note (nullopt: keep the note).
void showTagMenu(QWidget* parent, const QPoint& at, const std::function<void(const QString&, const std::optional<QString>&)>& apply);

// Tags one record as the menu chose; false with why when the case file refuses.
bool applyTag(CaseFile& tags, const QByteArray& identity, const QString& kind, const QString& what, const QString& label,
              const std::optional<QString>& note, QString* why);

}  // namespace kestrova
