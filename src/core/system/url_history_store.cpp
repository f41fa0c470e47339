#include "core/system/url_history_store.h"

#include <algorithm>

namespace kestrova {
namespace {

class MemoryEnumerator : public UrlHistoryEnumerator {
public:
    explicit MemoryEnumerator(std::vector<StatUrl> records) : records_(std::move(records)) {}
    bool setFilter(const QString& prefix, quint32) override {
        prefix_ = prefix;
        return true;
    }
    std::optional<StatUrl> next() override {
        while (at_ < records_.size()) {
            const StatUrl& record = records_[at_++];
            if (record.url.startsWith(prefix_, Qt::CaseInsensitive)) return record;
        }
        return std::nullopt;
    }

private:
    std::vector<StatUrl> records_;
    size_t at_ = 0;
    QString prefix_;
};

}  // namespace

bool MemoryHistoryStore::addUrl(const QString& url, const QString& title, quint32 flags) {
    const auto same = std::find_if(records_.begin(), records_.end(), [&](const StatUrl& r) { return r.url == url; });
    StatUrl& record = same != records_.end() ? *same : records_.emplace_back();
    record.url = url;
    record.title = title;
    record.flags = flags;
    return true;
}

bool MemoryHistoryStore::deleteUrl(const QString& url, quint32) {
    deleted_.append(url);
    std::erase_if(records_, [&](const StatUrl& r) { return r.url == url; });
    return true;
}

bool MemoryHistoryStore::clearHistory() {
    records_.clear();
    return true;
}

std::unique_ptr<UrlHistoryEnumerator> MemoryHistoryStore::enumerate() {
    return std::make_unique<MemoryEnumerator>(records_);
}

}  // namespace kestrova
