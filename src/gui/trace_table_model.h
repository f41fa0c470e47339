// A trace kind's records as the window shows them: one table, its columns the kind's output
// columns. Records are kept compactly (one text a cell, one number a cell for the columns that
// sort as numbers or times), appended in batches as the source reads them, so the view follows
// while the table fills. Sorting and filtering are the proxy's (TraceFilterModel), never a
// reordering of the records, whose source order is evidence.
#pragma once

#include <QAbstractTableModel>
#include <QSortFilterProxyModel>
#include <QTimeZone>
#include <limits>
#include <vector>

#include "core/time/iso_time.h"
#include "platform/cases/case_file.h"
#include "traces/trace_kind.h"

namespace kestrova {

class TraceTableModel : public QAbstractTableModel, public TraceSink {
    Q_OBJECT
public:
    // The role under which a cell gives its sort key: a number for integers, times and booleans
    // (absent values first), the text otherwise.
    static constexpr int kSortRole = Qt::UserRole + 1;

    explicit TraceTableModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}

    // Empties the table for a kind's records, their times written in that zone. The last column is
    // the examiner's tag (from the case file given to setCaseFile).
    // extra: the snapshot and host columns where states or several hosts are read (the tag column is always there).
    void start(const TraceKind& kind, const QTimeZone& zone, ExtraColumns extra = {});
    // The examiner's case file the tag column shows (nullptr: none).
    void setCaseFile(CaseFile* tags) { tags_ = tags; }
    CaseFile* caseFile() const { return tags_; }
    // A row's record identity and its words, for tagging it.
    const QByteArray& identity(int row) const { return identities_[static_cast<size_t>(row)]; }
    const QString& what(int row) const { return whats_[static_cast<size_t>(row)]; }
    bool tagged(int row) const { return tags_ && tags_->tagOf(identity(row)); }
    // The row's tag changed: its tag cell is shown again.
    void tagChanged(int row);
    // Makes the records received since the last flush visible (row insertions).
    void flush();
    // TraceSink: the record is kept (copied); shown at the next flush.
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;

    const TraceKind* kind() const { return kind_; }
    const std::vector<OutputColumn>& columns() const { return columns_; }
    // The times' writer, in the zone the table shows them in.
    const IsoTimeWriter& times() const { return times_; }
    // Whether a cell holds a value (absent values show empty and export empty).
    bool present(int row, int column) const;
    qint64 number(int row, int column) const { return numbers_[static_cast<size_t>(row) * columns_.size() + static_cast<size_t>(column)]; }
    qint64 received() const { return static_cast<qint64>(texts_.size() / std::max<size_t>(1, columns_.size())); }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // number() of a cell that holds no number.
    static constexpr qint64 kAbsent = std::numeric_limits<qint64>::min();

private:
    const TraceKind* kind_ = nullptr;
    std::vector<OutputColumn> columns_;
    IsoTimeWriter times_;
    std::vector<QString> texts_;    // rows * columns
    std::vector<qint64> numbers_;   // rows * columns: sort keys of numeric columns, kAbsent
    std::vector<QByteArray> identities_;  // a record's identity a row
    std::vector<QString> whats_;          // a record's words a row
    CaseFile* tags_ = nullptr;
    int shown_ = 0;
};

// The proxy between the table and its view: sorts by the cells' sort keys and keeps the rows
// whose text holds the filter (any column, case-insensitive).
class TraceFilterModel : public QSortFilterProxyModel {
    Q_OBJECT
public:
    explicit TraceFilterModel(QObject* parent = nullptr);
    // Only the rows the examiner tagged (and that hold the filter's text).
    void setOnlyTagged(bool only);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    bool onlyTagged_ = false;
};

}  // namespace kestrova
