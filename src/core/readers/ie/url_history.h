// Internet Explorer's URL history (category a1, and the report's IE URL section), read through
// the analysed system's history store and two small classes over it: CURLHistory, a 1-based
// collection rebuilt by Refresh with a URL-prefix filter, and URLHistoryItem, one record.
#pragma once

#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "core/frame/row_sink.h"
#include "core/system/url_history_store.h"
#include "core/time/mod_time_stamp.h"

namespace kestrova {

class URLHistoryItem {
public:
    URLHistoryItem(const StatUrl& record, const Clock& clock) : record_(record), clock_(clock) {}
    // Each read converts the stored time to local time in place, so reading a property twice
    // shifts it twice: the URL history items always behaved so.
    DateValue LastVisited() { return FileTimeToLocalDate(record_.lastVisited, clock_); }
    DateValue LastUpdated() { return FileTimeToLocalDate(record_.lastUpdated, clock_); }
    DateValue Expires() { return FileTimeToLocalDate(record_.expires, clock_); }
    QString URL() const { return record_.url; }
    QString Title() const { return record_.title.value_or(QString()); }
    quint32 Flags() const { return record_.flags; }

private:
    StatUrl record_;
    const Clock& clock_;
};

// Failures of the store raise a RuntimeError naming the failing operation; an index outside
// 1..Count raises the collection's own.
class CURLHistory {
public:
    using ItemPtr = std::shared_ptr<URLHistoryItem>;

    // Connects to the store and refreshes with an empty filter: every record.
    CURLHistory(UrlHistoryStore& store, const Clock& clock);
    void AddURL(const QString& url, const QString& title, quint32 flags);
    long Count() const { return static_cast<long>(items_.size()); }
    void Clear();
    void Refresh(const QString& filter, quint32 flags);
    // 1-based. Callers that keep an item beyond the next Refresh hold it themselves.
    ItemPtr Item(long index) const;
    // Deletes that item's URL from the store and drops it from the collection, without a refresh.
    void Remove(long index);
    // Deletes the URL that is the number's decimal text, then refreshes with an empty filter.
    // No stored URL is a number; kept as it always was.
    void DeleteURL(long number, quint32 flags);

    // NewEnum: the collection in order.
    std::vector<ItemPtr>::const_iterator begin() const { return items_.begin(); }
    std::vector<ItemPtr>::const_iterator end() const { return items_.end(); }

private:
    void checkIndex(long index) const;
    UrlHistoryStore& store_;
    const Clock& clock_;
    std::vector<ItemPtr> items_;
};

// a1: the web addresses of the history ("http" prefix) with title and last visit.
void urlHistoryRows(const SourceContext& src, RowSink& sink);

}  // namespace kestrova
