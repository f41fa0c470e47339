// The list's model: a view over the ResultList, never one item object per row. data() only
// indexes into the list's compact storage; sorting by a column is a permutation of row numbers.
// Rows a reader appends reach the view as row insertions; only a new list (rows cleared, columns
// changed) resets the model.
#pragma once

#include <QAbstractTableModel>
#include <vector>

#include "core/frame/result_list.h"

namespace kestrova {

class ResultListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit ResultListModel(const ResultList& list, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Catches up with the list: a reset when it is a new list (returns true), else insertions
    // for the rows appended since the last look.
    bool sync();
    // Re-reads the whole list, keeping the sort column.
    void reload();
    // Makes that column (0 = the row's own text) the sort column, in that order; -1 for the
    // reader's order. A new list starts in the reader's order again.
    void setSort(int column, Qt::SortOrder order = Qt::AscendingOrder);
    int sortColumn() const { return sortColumn_; }
    Qt::SortOrder sortOrder() const { return sortOrder_; }
    // The list's row shown at a view row.
    int listRow(int viewRow) const;

private:
    void resort();
    const ResultList& list_;
    std::vector<uint32_t> order_;
    int sortColumn_ = -1;
    Qt::SortOrder sortOrder_ = Qt::AscendingOrder;
    int rows_ = 0;
    int columns_ = 0;
    uint64_t generation_ = ~uint64_t{0};
};

}  // namespace kestrova
