#include "gui/tag_menu.h"

#include <QDateTime>
#include <QInputDialog>
#include <QMenu>

namespace kestrova {

void showTagMenu(QWidget* parent, const QPoint& at, const std::function<void(const QString&, const std::optional<QString>&)>& apply) {
    QMenu menu(parent);
    for (const QString& label : kTagLabels) menu.addAction(QStringLiteral("Tag as %1").arg(label), parent, [&apply, label] { apply(label, std::nullopt); });
    menu.addAction(QStringLiteral("Tag as..."), parent, [&] {
        const QString label = QInputDialog::getText(parent, QStringLiteral("Tag"), QStringLiteral("Tag:")).trimmed();
        if (!label.isEmpty() && label != QLatin1String("-")) apply(label, std::nullopt);
    });
    menu.addAction(QStringLiteral("Note..."), parent, [&] {
        bool ok = false;
        const QString note = QInputDialog::getText(parent, QStringLiteral("Note"), QStringLiteral("Note:"), QLineEdit::Normal, QString(), &ok);
        if (ok) apply(QString(), note);
    });
    menu.addAction(QStringLiteral("Remove tag"), parent, [&] { apply(QStringLiteral("-"), std::nullopt); });
    menu.exec(at);
}

bool applyTag(CaseFile& tags, const QByteArray& identity, const QString& kind, const QString& what, const QString& label,
              const std::optional<QString>& note, QString* why) {
    const RecordTag* had = tags.tagOf(identity);
    if (label == QLatin1String("-")) return !had || tags.removeTag(identity, why);
    // A note alone keeps the label the record has ("note" where it has none); a label alone keeps
    // the note.
    RecordTag tag = had ? *had : RecordTag{};
    if (!label.isEmpty()) tag.label = label;
    if (tag.label.isEmpty()) tag.label = QStringLiteral("note");
    if (note) tag.note = *note;
    tag.kind = kind;
    tag.what = what;
    tag.tagged = QDateTime::currentMSecsSinceEpoch() * 1000;
    return tags.setTag(identity, tag, why);
}

}  // namespace kestrova
