// The Overview: what the computer was used for (traces/overview/activity_model.h) as one page in the
// list's place. Per user a weekday × hour heat map and a bar a day (painted here: two small
// widgets, no charting engine), the programs, sites and documents; for the machine the devices,
// the files deleted and the notable events. A click on an item asks the window to show the
// Timeline narrowed to it (its text, its user, its time).
#pragma once

#include <QScrollArea>
#include <QTimeZone>
#include <memory>
#include <optional>

#include "core/frame/run_control.h"
#include "gui/responsive_sink.h"
#include "traces/overview/activity_model.h"

class QListWidget;
class QVBoxLayout;

namespace kestrova {

// A weekday × hour grid, darker with more records.
class HeatMap : public QWidget {
    Q_OBJECT
public:
    explicit HeatMap(const UserActivity& user, QWidget* parent = nullptr);
    QSize sizeHint() const override { return {34 + 24 * 16, 14 + 7 * 16}; }
    int64_t cell(int weekday, int hour) const { return hours_[weekday][hour]; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int64_t hours_[7][24] = {};
};

// A bar a day: the time in active periods.
class DayBars : public QWidget {
    Q_OBJECT
public:
    explicit DayBars(const UserActivity& user, QWidget* parent = nullptr);
    QSize sizeHint() const override { return {std::max<int>(40, static_cast<int>(days_.size()) * 14), 120}; }
    int bars() const { return static_cast<int>(days_.size()); }

signals:
    void dayClicked(const QString& date);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    std::vector<ActiveDay> days_;
};

class OverviewPane : public QScrollArea {
    Q_OBJECT
public:
    explicit OverviewPane(QWidget* parent = nullptr);
    ~OverviewPane() override;

    // Reads every kind into the overview and shows it; the records read.
    qint64 fill(const KindReader& read, const QTimeZone& zone, RunControl& run);
    const ActivityModel* model() const { return model_.get(); }
    // The lists shown, for the tests: a user's programs, sites and documents, the machine's.
    std::vector<QListWidget*> lists;
    std::vector<DayBars*> dayBars;
    std::vector<HeatMap*> heatMaps;

signals:
    // Show the Timeline narrowed to a text, a user and a time range (either end open).
    void showInTimeline(const QString& text, const QString& user, std::optional<int64_t> from, std::optional<int64_t> to);

private:
    void rebuild();
    QListWidget* addList(QVBoxLayout* layout, const QString& title, const QString& user);

    std::unique_ptr<ActivityModel> model_;
    QWidget* page_ = nullptr;
};

}  // namespace kestrova
