// Where a trace kind's records are shown, in the list's place: a filter box above a table. The
// table is a view over TraceTableModel through TraceFilterModel (sorting by the cells' types,
// filtering on any column); it fills while the kind is read and exports what it shows.
#pragma once

#include <QTimeZone>
#include <QWidget>
#include <optional>

#include "core/frame/run_control.h"
#include "gui/responsive_sink.h"
#include "gui/trace_table_model.h"

class QCheckBox;
class QLineEdit;
class QTableView;

namespace kestrova {

class TraceContext;

class TracePane : public QWidget {
    Q_OBJECT
public:
    explicit TracePane(QWidget* parent = nullptr);

    // Reads a kind into the table, its times in that zone, the records reaching the view in
    // batches with events run between them; Cancel (run.stopRequested) ends the reading. Returns
    // how many records were read. extra: the snapshot and host columns are shown where states or
    // several hosts are read.
    qint64 fill(const TraceKind& kind, const KindReader& read, ExtraColumns extra, const QTimeZone& zone, RunControl& run);
    // Writes the table as shown; the format follows the name (.xlsx, else CSV). nullopt when
    // written, else why not.
    std::optional<QString> exportTo(const QString& path) const;

    QLineEdit* filter;
    QTableView* table;
    QCheckBox* onlyTagged;

    // The examiner's case file the rows are tagged in (nullptr: tags cannot be given).
    void setCaseFile(CaseFile* tags) { model_->setCaseFile(tags); }
    // Tags the rows shown at those view rows ("" removes their tag); a note "" keeps the note the
    // row has. False with why when the case file refuses.
    bool tagRows(const QList<int>& shownRows, const QString& label, const std::optional<QString>& note, QString* why);

    // The text of a cell, as a double-click on it asks the window to open (a URL from the
    // evidence, a Windows path of the volume); "" for a cell that names nothing to open.
    QString openableText(const QModelIndex& shown) const;

signals:
    void openRequested(const QString& text);
    // A tag could not be kept.
    void tagFailed(const QString& why);

private:
    TraceTableModel* model_;
    TraceFilterModel* proxy_;
};

}  // namespace kestrova
