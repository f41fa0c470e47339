#include "gui/trace_table_model.h"

#include "traces/record_tags.h"

namespace kestrova {

namespace {
constexpr int kTagColumn = -9;  // outputColumns' tag
}  // namespace

void TraceTableModel::start(const TraceKind& kind, const QTimeZone& zone, ExtraColumns extra) {
    beginResetModel();
    kind_ = &kind;
    extra.tags = true;
    columns_ = outputColumns(kind, extra);
    identities_.clear();
    whats_.clear();
    times_ = IsoTimeWriter(zone);
    texts_.clear();
    numbers_.clear();
    shown_ = 0;
    endResetModel();
}

bool TraceTableModel::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    identities_.push_back(recordIdentity(kind, from, values));
    whats_.push_back(recordWhat(kind, values));
    for (const OutputColumn& column : columns_) {
        if (column.field < 0) {
            const std::string_view text = provenanceValue(from, column.field);
            texts_.push_back(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
            numbers_.push_back(kAbsent);
            continue;
        }
        const Value& value = values[static_cast<size_t>(column.field)];
        if (value.is == Value::Is::Text && column.type == FieldType::Fields) {
            texts_.push_back(QString::fromStdString(namedValuesLine(value.utf8)));
            numbers_.push_back(kAbsent);
        } else if (value.is == Value::Is::Text) {
            texts_.push_back(QString::fromUtf8(value.utf8.data(), static_cast<qsizetype>(value.utf8.size())));
            numbers_.push_back(kAbsent);
        } else if (value.is == Value::Is::Number) {
            texts_.push_back(column.type == FieldType::Time   ? times_.text(value.number)
                             : column.type == FieldType::Bool ? QString::fromLatin1(value.number ? "true" : "false")
                                                              : QString::number(value.number));
            numbers_.push_back(value.number);
        } else {
            texts_.emplace_back();
            numbers_.push_back(kAbsent);
        }
    }
    return true;
}

void TraceTableModel::flush() {
    const int total = static_cast<int>(received());
    if (total == shown_) return;
    beginInsertRows({}, shown_, total - 1);
    shown_ = total;
    endInsertRows();
}

bool TraceTableModel::present(int row, int column) const {
    const size_t at = static_cast<size_t>(row) * columns_.size() + static_cast<size_t>(column);
    return numbers_[at] != kAbsent || !texts_[at].isEmpty();
}

int TraceTableModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : shown_; }
int TraceTableModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : static_cast<int>(columns_.size()); }

QVariant TraceTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) return {};
    const size_t at = static_cast<size_t>(index.row()) * columns_.size() + static_cast<size_t>(index.column());
    const FieldType type = columns_[static_cast<size_t>(index.column())].type;
    const bool numeric = type == FieldType::Integer || type == FieldType::Time || type == FieldType::Bool;
    if (columns_[static_cast<size_t>(index.column())].field == kTagColumn && (role == Qt::DisplayRole || role == Qt::ToolTipRole || role == kSortRole)) {
        const RecordTag* tag = tags_ ? tags_->tagOf(identities_[static_cast<size_t>(index.row())]) : nullptr;
        if (!tag) return QString();
        return tag->note.isEmpty() ? tag->label : tag->label + QStringLiteral(": ") + tag->note;
    }
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: return texts_[at];
    case kSortRole: return numeric ? QVariant(numbers_[at]) : QVariant(texts_[at]);
    case Qt::TextAlignmentRole:
        return type == FieldType::Integer ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    default: return {};
    }
}

QVariant TraceTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= static_cast<int>(columns_.size())) {
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    return QString::fromLatin1(columns_[static_cast<size_t>(section)].name);
}

void TraceTableModel::tagChanged(int row) {
    const int column = static_cast<int>(columns_.size()) - 1;
    emit dataChanged(index(row, column), index(row, column));
}

void TraceFilterModel::setOnlyTagged(bool only) {
    onlyTagged_ = only;
    invalidateFilter();
}

bool TraceFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const {
    if (onlyTagged_) {
        const auto* table = qobject_cast<const TraceTableModel*>(sourceModel());
        if (table && !table->tagged(sourceRow)) return false;
    }
    return QSortFilterProxyModel::filterAcceptsRow(sourceRow, sourceParent);
}

TraceFilterModel::TraceFilterModel(QObject* parent) : QSortFilterProxyModel(parent) {
    setSortRole(TraceTableModel::kSortRole);
    setFilterKeyColumn(-1);
    setFilterCaseSensitivity(Qt::CaseInsensitive);
    setDynamicSortFilter(false);  // rows appended while filling keep their place until sorted again
}

}  // namespace kestrova
