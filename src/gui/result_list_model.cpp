#include "gui/result_list_model.h"

#include "core/common/text.h"

namespace kestrova {

ResultListModel::ResultListModel(const ResultList& list, QObject* parent) : QAbstractTableModel(parent), list_(list) {
    reload();
}

int ResultListModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : rows_; }

int ResultListModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : columns_; }

int ResultListModel::listRow(int viewRow) const {
    if (viewRow < 0 || viewRow >= rows_) return -1;
    return order_.empty() ? viewRow : static_cast<int>(order_[static_cast<size_t>(viewRow)]);
}

QVariant ResultListModel::data(const QModelIndex& index, int role) const {
    if (role != Qt::DisplayRole || !index.isValid()) return {};
    // The list control shows a cell up to its first NUL, as the Windows list did, with bytes of
    // undecodable file names made visible.
    return showEscapedBytes(upToNul(list_.cell(listRow(index.row()), index.column())));
}

QVariant ResultListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    if (section < 0 || section >= columns_) return {};
    return list_.columns()[static_cast<size_t>(section)].text;
}

void ResultListModel::reload() {
    beginResetModel();
    generation_ = list_.generation();
    rows_ = list_.rowCount();
    columns_ = static_cast<int>(list_.columns().size());
    resort();
    endResetModel();
}

bool ResultListModel::sync() {
    if (generation_ != list_.generation()) {
        sortColumn_ = -1;
        reload();
        return true;
    }
    const int rows = list_.rowCount();
    if (rows == rows_) return false;
    if (!order_.empty()) {
        // Sorted: appended rows may belong anywhere, so the order is made anew.
        reload();
        return false;
    }
    beginInsertRows(QModelIndex(), rows_, rows - 1);
    rows_ = rows;
    endInsertRows();
    return false;
}

void ResultListModel::setSort(int column, Qt::SortOrder order) {
    beginResetModel();
    sortColumn_ = column;
    sortOrder_ = order;
    resort();
    endResetModel();
}

void ResultListModel::resort() {
    if (sortColumn_ < 0 || sortColumn_ >= columns_) {
        order_.clear();
        return;
    }
    order_ = list_.sortedOrder(sortColumn_, sortOrder_ == Qt::DescendingOrder);
}

}  // namespace kestrova
