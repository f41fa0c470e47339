// The URL history store of the analysed system: the records of Internet Explorer's history, as
// the system's own store hands them out (the published URL history store interfaces). The
// platform serves the profile's History.IE5\index.dat behind it, tests a memory store. Adding,
// deleting and clearing change the store for the run only; nothing is written to the volume.
#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <optional>
#include <vector>

#include "core/time/mod_time_stamp.h"

namespace kestrova {

// One record as the store hands it out (the fields of a STATURL).
struct StatUrl {
    quint32 size = 40;
    QString url;
    std::optional<QString> title;  // absent when the record has none
    FileTime lastVisited;
    FileTime lastUpdated;
    FileTime expires;
    quint32 flags = 0;  // the store's own bits, passed through unread
};

class UrlHistoryEnumerator {
public:
    virtual ~UrlHistoryEnumerator() = default;
    // A URL prefix ("" keeps all) and flags; false when the store refuses.
    virtual bool setFilter(const QString& prefix, quint32 flags) = 0;
    // The next record, or nullopt at the end.
    virtual std::optional<StatUrl> next() = 0;
};

class UrlHistoryStore {
public:
    virtual ~UrlHistoryStore() = default;
    // Each returns false when the store reports a failure.
    virtual bool addUrl(const QString& url, const QString& title, quint32 flags) = 0;
    virtual bool deleteUrl(const QString& url, quint32 flags) = 0;
    virtual bool clearHistory() = 0;
    // nullptr when the store cannot be enumerated.
    virtual std::unique_ptr<UrlHistoryEnumerator> enumerate() = 0;
};

// Records held in memory, in order: the fake for tests, and the run's changeable copy of a
// history file's records.
class MemoryHistoryStore : public UrlHistoryStore {
public:
    explicit MemoryHistoryStore(std::vector<StatUrl> records = {}) : records_(std::move(records)) {}
    bool addUrl(const QString& url, const QString& title, quint32 flags) override;
    bool deleteUrl(const QString& url, quint32 flags) override;
    bool clearHistory() override;
    std::unique_ptr<UrlHistoryEnumerator> enumerate() override;
    // What deleteUrl was asked for, in order (tests look at it).
    const QStringList& deleted() const { return deleted_; }

protected:
    std::vector<StatUrl> records_;
    QStringList deleted_;
};

}  // namespace kestrova
