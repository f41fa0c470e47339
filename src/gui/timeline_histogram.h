// Events over time above the timeline's table: one bar an hour, a day or a month, whichever cuts
// the shown range into a readable number of bars. The range is where the bulk of the events lie
// (bulkRange): a far-future expiry or a zero time is counted as outside, not drawn as a century of
// empty bars. A drag across bars selects a time range (the
// table follows); a double click selects the whole range again. Bins are cut in the zone the
// times are shown in (its offset at the range's start).
#pragma once

#include <QTimeZone>
#include <QWidget>
#include <optional>
#include <vector>

#include "core/time/iso_time.h"
#include "traces/timeline_store.h"

namespace kestrova {

class TimelineHistogram : public QWidget {
    Q_OBJECT
public:
    enum class Unit { Hour, Day, Month };
    struct Bin {
        int64_t start;  // UtcMicros
        int64_t end;    // exclusive
        qint64 count;
    };

    explicit TimelineHistogram(QWidget* parent = nullptr);
    // Counts the times (in ascending order) into bins; the selection is cleared.
    void setTimes(const std::vector<int64_t>& sortedTimes, const QTimeZone& zone);
    // The range the bins cover, and how many times fell outside it.
    std::optional<TimeRange> range() const { return range_; }
    qint64 outside() const { return outside_; }
    // Marks the bins that cover [from, to] as selected, saying nothing (the range is kept, the
    // bins were recounted).
    void markRange(std::optional<int64_t> from, std::optional<int64_t> to);
    const std::vector<Bin>& bins() const { return bins_; }
    Unit unit() const { return unit_; }
    // Selects the bins from..to (indexes, inclusive) as a drag would, and says so.
    void selectBins(int from, int to);
    void clearSelection();
    QSize sizeHint() const override { return {600, 90}; }

signals:
    // The range selected, inclusive; nullopt both: the whole range.
    void rangeSelected(std::optional<int64_t> from, std::optional<int64_t> to);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    int binAt(int x) const;
    QString label(int64_t time) const;

    std::vector<Bin> bins_;
    std::optional<TimeRange> range_;
    qint64 outside_ = 0;
    Unit unit_ = Unit::Day;
    QTimeZone zone_ = QTimeZone::utc();
    int64_t offsetMicros_ = 0;
    std::optional<int> dragFrom_, selFrom_, selTo_;
};

}  // namespace kestrova
