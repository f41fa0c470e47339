#include "core/readers/ie/url_history.h"

#include <algorithm>

#include "core/common/runtime_error.h"

namespace kestrova {
CURLHistory::CURLHistory(UrlHistoryStore& store, const Clock& clock) : store_(store), clock_(clock) {
    Refresh(QString(), 0);
}

void CURLHistory::AddURL(const QString& url, const QString& title, quint32 flags) {
    if (!store_.addUrl(url, title, flags)) throw RuntimeError("IUrlHistoryStg::AddUrl failed");
}

void CURLHistory::Clear() {
    if (!store_.clearHistory()) throw RuntimeError("IUrlHistoryStg2::ClearHistory failed");
    Refresh(QString(), 0);
}

void CURLHistory::Refresh(const QString& filter, quint32 flags) {
    const std::unique_ptr<UrlHistoryEnumerator> records = store_.enumerate();
    if (!records) throw RuntimeError("IUrlHistoryStg::EnumUrls failed");
    if (!records->setFilter(filter, flags)) throw RuntimeError("IEnumSTATURL::SetFilter failed");
    items_.clear();
    while (const std::optional<StatUrl> record = records->next()) {
        items_.push_back(std::make_shared<URLHistoryItem>(*record, clock_));
    }
}

void CURLHistory::checkIndex(long index) const {
    if (index < 1 || index > Count()) throw RuntimeError("Subscript out of range");
}

CURLHistory::ItemPtr CURLHistory::Item(long index) const {
    checkIndex(index);
    return items_[static_cast<size_t>(index - 1)];
}

void CURLHistory::Remove(long index) {
    checkIndex(index);
    if (!store_.deleteUrl(items_[static_cast<size_t>(index - 1)]->URL(), 0)) {
        throw RuntimeError("IUrlHistoryStg::DeleteUrl failed");
    }
    items_.erase(items_.begin() + (index - 1));
}

void CURLHistory::DeleteURL(long number, quint32 flags) {
    if (!store_.deleteUrl(QString::number(number), flags)) throw RuntimeError("IUrlHistoryStg::DeleteUrl failed");
    Refresh(QString(), 0);
}

void urlHistoryRows(const SourceContext& src, RowSink& sink) {
    CURLHistory history(src.os.system().urlHistory(), src.stamps.clock());
    history.Refresh(QStringLiteral("http"), 0);
    for (const CURLHistory::ItemPtr& item : history) {
        // LastVisited is read exactly once per item: every read shifts it.
        sink.add(QStringList{item->URL(), item->Title(), generalDateText(item->LastVisited())});
    }
}

}  // namespace kestrova
