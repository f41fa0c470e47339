// The timeline's events as the window's table shows them: the events a filter lets through, in
// time order until a header is clicked. Cells are decoded from the store when the view asks for
// them, so a table of millions of events costs the view only the rows on screen.
#pragma once

#include <QAbstractTableModel>
#include <QTimeZone>
#include <vector>

#include "core/time/iso_time.h"
#include "platform/cases/case_file.h"
#include "traces/timeline_store.h"

namespace kestrova {

class TimelineModel : public QAbstractTableModel {
    Q_OBJECT
public:
    // Host is shown where a case of several hosts is read.
    enum Column { DateTime, Description, Kind, User, Message, Source, Tag, Host, ColumnCount };

    explicit TimelineModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}
    void setStore(const TimelineStore* store, const QTimeZone& zone);
    // The events shown, as store indexes (in time order as select() gives them).
    void show(std::vector<uint32_t> events);
    const std::vector<uint32_t>& shown() const { return shown_; }
    const TimelineStore* store() const { return store_; }
    const IsoTimeWriter& times() const { return times_; }
    QString cell(size_t event, int column) const;
    // The examiner's case file the tag column shows (nullptr: none).
    void setCaseFile(const CaseFile* tags) { tags_ = tags; }
    // An event's record: its identity and words, for tagging it.
    QByteArray identity(size_t event) const;
    QString what(size_t event) const;
    bool tagged(size_t event) const { return tags_ && !tags_->tags().empty() && tags_->tagOf(identity(event)); }
    // The rows of those events are shown again (their tag changed).
    void tagsChanged();

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;

private:
    const TimelineStore* store_ = nullptr;
    const CaseFile* tags_ = nullptr;
    IsoTimeWriter times_;
    std::vector<uint32_t> shown_;
};

}  // namespace kestrova
