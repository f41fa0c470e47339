#include "gui/timeline_model.h"

#include "traces/record_tags.h"

#include <algorithm>

namespace kestrova {

void TimelineModel::setStore(const TimelineStore* store, const QTimeZone& zone) {
    beginResetModel();
    store_ = store;
    times_ = IsoTimeWriter(zone);
    shown_.clear();
    endResetModel();
}

void TimelineModel::show(std::vector<uint32_t> events) {
    beginResetModel();
    shown_ = std::move(events);
    endResetModel();
}

QByteArray TimelineModel::identity(size_t event) const {
    const TimelineStore::Event& e = store_->event(event);
    Provenance from;
    std::vector<Value> values;
    store_->decode(e, from, values);
    return recordIdentity(store_->kindOf(e), from, values);
}

QString TimelineModel::what(size_t event) const {
    const TimelineStore::Event& e = store_->event(event);
    Provenance from;
    std::vector<Value> values;
    store_->decode(e, from, values);
    return recordWhat(store_->kindOf(e), values);
}

void TimelineModel::tagsChanged() {
    if (!shown_.empty()) emit dataChanged(index(0, Tag), index(static_cast<int>(shown_.size()) - 1, Tag));
}

QString TimelineModel::cell(size_t event, int column) const {
    const TimelineStore::Event& e = store_->event(event);
    switch (column) {
    case DateTime: return times_.text(e.time);
    case Description: return QString::fromLatin1(store_->meaning(e));
    case Kind: return QString::fromLatin1(store_->kindOf(e).name);
    case User: return e.user < store_->users().size() ? store_->users()[e.user] : QString();
    case Host: return e.host < store_->hosts().size() ? store_->hosts()[e.host] : QString();
    case Message: {
        const std::string m = store_->message(e);
        return QString::fromUtf8(m.data(), static_cast<qsizetype>(m.size()));
    }
    case Source: {
        Provenance from;
        std::vector<Value> values;
        store_->decode(e, from, values);
        return QString::fromUtf8(from.source);
    }
    case Tag: {
        const RecordTag* tag = tags_ && !tags_->tags().empty() ? tags_->tagOf(identity(event)) : nullptr;
        if (!tag) return QString();
        return tag->note.isEmpty() ? tag->label : tag->label + QStringLiteral(": ") + tag->note;
    }
    default: return QString();
    }
}

int TimelineModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : static_cast<int>(shown_.size()); }
int TimelineModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : ColumnCount; }

QVariant TimelineModel::data(const QModelIndex& index, int role) const {
    if (role != Qt::DisplayRole || !store_ || !index.isValid() || static_cast<size_t>(index.row()) >= shown_.size()) return {};
    return cell(shown_[static_cast<size_t>(index.row())], index.column());
}

QVariant TimelineModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) return {};
    static const char* const kNames[] = {"datetime", "timestamp_desc", "kind", "user", "message", "source", "tag", "host"};
    return section >= 0 && section < ColumnCount ? QString::fromLatin1(kNames[section]) : QVariant();
}

void TimelineModel::sort(int column, Qt::SortOrder order) {
    if (!store_ || column < 0 || column >= ColumnCount) return;
    beginResetModel();
    // Store indexes are in time order: the time column sorts by index, the others by their text
    // (computed once a row), equal texts kept in time order.
    if (column == DateTime) {
        std::sort(shown_.begin(), shown_.end());
    } else {
        std::vector<std::pair<QString, uint32_t>> keyed;
        keyed.reserve(shown_.size());
        for (const uint32_t i : shown_) keyed.emplace_back(cell(i, column), i);
        std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) {
            const int c = a.first.compare(b.first, Qt::CaseInsensitive);
            return c != 0 ? c < 0 : a.second < b.second;
        });
        for (size_t r = 0; r < keyed.size(); ++r) shown_[r] = keyed[r].second;
    }
    if (order == Qt::DescendingOrder) std::reverse(shown_.begin(), shown_.end());
    endResetModel();
}

}  // namespace kestrova
