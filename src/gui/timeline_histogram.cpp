#include "gui/timeline_histogram.h"

#include <QDateTime>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

namespace kestrova {
namespace {

constexpr int64_t kHour = int64_t{3600} * 1000000;
constexpr int64_t kDay = 24 * kHour;

int64_t floorDiv(int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

}  // namespace

TimelineHistogram::TimelineHistogram(QWidget* parent) : QWidget(parent) {
    setMinimumHeight(70);
    setMouseTracking(false);
}

void TimelineHistogram::setTimes(const std::vector<int64_t>& times, const QTimeZone& zone) {
    bins_.clear();
    selFrom_.reset();
    selTo_.reset();
    dragFrom_.reset();
    zone_ = zone;
    range_ = bulkRange(times);
    outside_ = range_ ? static_cast<qint64>(std::count_if(times.begin(), times.end(), [this](int64_t t) { return !range_->contains(t); }))
                      : static_cast<qint64>(times.size());
    if (!range_) {
        update();
        return;
    }
    const int64_t first = range_->first, last = range_->last;
    offsetMicros_ = int64_t{zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(first / 1000, QTimeZone::utc()))} * 1000000;
    const int64_t span = last - first;
    unit_ = span <= 4 * kDay ? Unit::Hour : span <= 400 * kDay ? Unit::Day : Unit::Month;
    // A bin's index from a time: hours and days by division of local time, months by the calendar.
    const auto monthOf = [&](int64_t t) {
        const auto [y, m, d] = civilFromDays(floorDiv(t + offsetMicros_, kDay));
        (void)d;
        return static_cast<int64_t>(y) * 12 + static_cast<int64_t>(m) - 1;
    };
    const int64_t step = unit_ == Unit::Hour ? kHour : kDay;
    const auto indexOf = [&](int64_t t) { return unit_ == Unit::Month ? monthOf(t) : floorDiv(t + offsetMicros_, step); };
    const auto startOf = [&](int64_t index) {
        if (unit_ != Unit::Month) return index * step - offsetMicros_;
        return daysFromCivil(index / 12, static_cast<unsigned>(index % 12 + 1), 1) * kDay - offsetMicros_;
    };
    const int64_t firstIndex = indexOf(first), lastIndex = indexOf(last);
    // A hostile timeline may span millennia: months then, at most some thousands of bars.
    const int64_t count = std::min<int64_t>(lastIndex - firstIndex + 1, 200000);
    bins_.reserve(static_cast<size_t>(count));
    for (int64_t i = 0; i < count; ++i) bins_.push_back(Bin{startOf(firstIndex + i), startOf(firstIndex + i + 1), 0});
    for (const int64_t t : times) {
        if (!range_->contains(t)) continue;
        const int64_t i = std::clamp<int64_t>(indexOf(t) - firstIndex, 0, count - 1);
        ++bins_[static_cast<size_t>(i)].count;
    }
    update();
}

void TimelineHistogram::selectBins(int from, int to) {
    if (bins_.empty()) return;
    selFrom_ = std::clamp(std::min(from, to), 0, static_cast<int>(bins_.size()) - 1);
    selTo_ = std::clamp(std::max(from, to), 0, static_cast<int>(bins_.size()) - 1);
    update();
    emit rangeSelected(bins_[static_cast<size_t>(*selFrom_)].start, bins_[static_cast<size_t>(*selTo_)].end - 1);
}

void TimelineHistogram::markRange(std::optional<int64_t> from, std::optional<int64_t> to) {
    selFrom_.reset();
    selTo_.reset();
    if (bins_.empty() || (!from && !to)) {
        update();
        return;
    }
    const auto binOf = [this](int64_t t) {
        const auto at = std::upper_bound(bins_.begin(), bins_.end(), t, [](int64_t time, const Bin& b) { return time < b.end; });
        return static_cast<int>(std::min<size_t>(static_cast<size_t>(at - bins_.begin()), bins_.size() - 1));
    };
    selFrom_ = from ? binOf(*from) : 0;
    selTo_ = to ? binOf(*to) : static_cast<int>(bins_.size()) - 1;
    update();
}

void TimelineHistogram::clearSelection() {
    selFrom_.reset();
    selTo_.reset();
    update();
    emit rangeSelected(std::nullopt, std::nullopt);
}

int TimelineHistogram::binAt(int x) const {
    if (bins_.empty() || width() <= 0) return 0;
    return std::clamp(static_cast<int>(static_cast<int64_t>(x) * static_cast<int64_t>(bins_.size()) / width()), 0,
                      static_cast<int>(bins_.size()) - 1);
}

QString TimelineHistogram::label(int64_t time) const {
    const QDateTime at = QDateTime::fromMSecsSinceEpoch(time / 1000, zone_);
    switch (unit_) {
    case Unit::Hour: return at.toString(QStringLiteral("yyyy-MM-dd HH:00"));
    case Unit::Day: return at.toString(QStringLiteral("yyyy-MM-dd"));
    case Unit::Month: return at.toString(QStringLiteral("yyyy-MM"));
    }
    return QString();
}

void TimelineHistogram::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), palette().base());
    if (bins_.empty()) {
        p.drawText(rect(), Qt::AlignCenter, QStringLiteral("No events"));
        return;
    }
    const int textHeight = fontMetrics().height();
    const int barsHeight = std::max(1, height() - textHeight - 2);
    qint64 most = 1;
    for (const Bin& b : bins_) most = std::max(most, b.count);
    const double perBin = static_cast<double>(width()) / static_cast<double>(bins_.size());
    if (selFrom_ && selTo_) {
        const int x0 = static_cast<int>(*selFrom_ * perBin), x1 = static_cast<int>((*selTo_ + 1) * perBin);
        p.fillRect(QRect(x0, 0, std::max(1, x1 - x0), barsHeight), palette().highlight().color().lighter(160));
    }
    // Many bins a pixel: each column of pixels shows the tallest bin it covers.
    const QColor bar = palette().highlight().color();
    for (int x = 0; x < width(); ++x) {
        const size_t from = static_cast<size_t>(x * static_cast<double>(bins_.size()) / width());
        const size_t to = std::max(from + 1, static_cast<size_t>((x + 1) * static_cast<double>(bins_.size()) / width()));
        qint64 count = 0;
        for (size_t i = from; i < to && i < bins_.size(); ++i) count = std::max(count, bins_[i].count);
        if (count == 0) continue;
        const int h = std::max(1, static_cast<int>(static_cast<double>(count) / static_cast<double>(most) * barsHeight));
        p.fillRect(QRect(x, barsHeight - h, std::max(1, static_cast<int>(perBin) - 1), h), bar);
    }
    p.setPen(palette().text().color());
    const QString unit = unit_ == Unit::Hour ? QStringLiteral("per hour") : unit_ == Unit::Day ? QStringLiteral("per day") : QStringLiteral("per month");
    p.drawText(QRect(0, barsHeight + 1, width(), textHeight), Qt::AlignLeft, label(bins_.front().start));
    p.drawText(QRect(0, barsHeight + 1, width(), textHeight), Qt::AlignHCenter,
               QStringLiteral("%1, most %2").arg(unit).arg(most));
    p.drawText(QRect(0, barsHeight + 1, width(), textHeight), Qt::AlignRight, label(bins_.back().start));
}

void TimelineHistogram::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || bins_.empty()) return;
    dragFrom_ = binAt(event->position().toPoint().x());
    selFrom_ = selTo_ = dragFrom_;
    update();
}

void TimelineHistogram::mouseMoveEvent(QMouseEvent* event) {
    if (!dragFrom_) return;
    const int at = binAt(event->position().toPoint().x());
    selFrom_ = std::min(*dragFrom_, at);
    selTo_ = std::max(*dragFrom_, at);
    update();
}

void TimelineHistogram::mouseReleaseEvent(QMouseEvent* event) {
    if (!dragFrom_) return;
    const int from = *dragFrom_, to = binAt(event->position().toPoint().x());
    dragFrom_.reset();
    selectBins(from, to);
}

void TimelineHistogram::mouseDoubleClickEvent(QMouseEvent*) { clearSelection(); }

}  // namespace kestrova
