#include "gui/overview_pane.h"

#include <QDateTime>
#include <QLabel>
#include <QListWidget>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>
#include <algorithm>

#include "core/time/iso_time.h"

namespace kestrova {
namespace {

constexpr int kCell = 16, kLeft = 34, kTop = 14, kBar = 12;
constexpr const char* kWeekdays[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

// Where an item's records are: its text, its user, and a range around its times.
struct Target {
    QString text, user;
    std::optional<int64_t> from, to;
};
constexpr int kTargetRole = Qt::UserRole + 7;

}  // namespace

HeatMap::HeatMap(const UserActivity& user, QWidget* parent) : QWidget(parent) {
    std::copy(&user.hours[0][0], &user.hours[0][0] + 7 * 24, &hours_[0][0]);
    setMinimumSize(sizeHint());
    setToolTip(QStringLiteral("%1's records by weekday and hour").arg(user.user));
}

void HeatMap::paintEvent(QPaintEvent*) {
    QPainter p(this);
    int64_t most = 1;
    for (const auto& day : hours_) most = std::max(most, *std::max_element(std::begin(day), std::end(day)));
    p.setFont(QFont(font().family(), 7));
    for (int h = 0; h < 24; h += 3) p.drawText(kLeft + h * kCell, 10, QString::number(h));
    for (int d = 0; d < 7; ++d) {
        p.drawText(0, kTop + d * kCell + 12, QLatin1String(kWeekdays[d]));
        for (int h = 0; h < 24; ++h) {
            const int shade = hours_[d][h] == 0 ? 0 : 30 + static_cast<int>(225 * hours_[d][h] / most);
            const QColor colour = hours_[d][h] == 0 ? QColor(238, 238, 242) : QColor(255 - shade, 255 - shade, 255);
            p.fillRect(kLeft + h * kCell, kTop + d * kCell, kCell - 1, kCell - 1, colour);
        }
    }
}

DayBars::DayBars(const UserActivity& user, QWidget* parent) : QWidget(parent), days_(user.days) {
    setMinimumSize(sizeHint());
    setToolTip(QStringLiteral("%1's time in active periods, a bar a day; a click shows that day in the Timeline").arg(user.user));
}

void DayBars::paintEvent(QPaintEvent*) {
    QPainter p(this);
    int64_t longest = 1;
    for (const ActiveDay& d : days_) longest = std::max(longest, d.activeSeconds);
    for (size_t i = 0; i < days_.size(); ++i) {
        const int h = std::max(1, static_cast<int>((height() - 2) * days_[i].activeSeconds / longest));
        p.fillRect(static_cast<int>(i) * (kBar + 2), height() - h, kBar, h, QColor(0x3a, 0x6e, 0xa5));
    }
}

void DayBars::mousePressEvent(QMouseEvent* event) {
    const int i = static_cast<int>(event->position().x()) / (kBar + 2);
    if (i >= 0 && i < static_cast<int>(days_.size())) emit dayClicked(days_[static_cast<size_t>(i)].date);
}

OverviewPane::OverviewPane(QWidget* parent) : QScrollArea(parent) {
    setObjectName(QStringLiteral("overviewPane"));
    setWidgetResizable(true);
}

OverviewPane::~OverviewPane() = default;

qint64 OverviewPane::fill(const KindReader& read, const QTimeZone& zone, RunControl& run) {
    model_ = std::make_unique<ActivityModel>(zone);
    ResponsiveSink sink(*model_, run);
    for (const TraceKind& kind : traceKinds()) {
        if (run.stopRequested) break;
        read(kind, sink);
    }
    model_->finish();
    rebuild();
    return model_->recordsRead();
}

QListWidget* OverviewPane::addList(QVBoxLayout* layout, const QString& title, const QString& user) {
    auto* label = new QLabel(QStringLiteral("<b>%1</b>").arg(title.toHtmlEscaped()), page_);
    layout->addWidget(label);
    auto* list = new QListWidget(page_);
    list->setObjectName(title + QLatin1Char(' ') + user);
    list->setMaximumHeight(160);
    connect(list, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
        const auto target = item->data(kTargetRole).value<QStringList>();
        if (target.size() < 4) return;
        const auto time = [](const QString& t) { return t.isEmpty() ? std::optional<int64_t>() : std::optional<int64_t>(t.toLongLong()); };
        emit showInTimeline(target[0], target[1], time(target[2]), time(target[3]));
    });
    layout->addWidget(list);
    lists.push_back(list);
    return list;
}

void OverviewPane::rebuild() {
    lists.clear();
    dayBars.clear();
    heatMaps.clear();
    page_ = new QWidget;
    auto* layout = new QVBoxLayout(page_);
    const IsoTimeWriter times(model_->zone());
    const auto add = [](QListWidget* list, const QString& text, const Target& target) {
        auto* item = new QListWidgetItem(text, list);
        item->setData(kTargetRole, QStringList{target.text, target.user, target.from ? QString::number(*target.from) : QString(),
                                               target.to ? QString::number(*target.to) : QString()});
    };
    // An item's moment with half an hour each side, so its neighbours show too.
    constexpr int64_t kAround = int64_t{30} * 60 * 1000000;
    const auto around = [&](std::optional<UtcMicros> t) -> std::pair<std::optional<int64_t>, std::optional<int64_t>> {
        if (!t) return {};
        return {*t - kAround, *t + kAround};
    };
    auto* title = new QLabel(QStringLiteral("<h2>What the computer was used for</h2><p>%1 records read.</p>").arg(model_->recordsRead()), page_);
    layout->addWidget(title);
    if (model_->users().empty()) layout->addWidget(new QLabel(QStringLiteral("No user's own activity was found."), page_));
    for (const UserActivity& u : model_->users()) {
        int64_t total = 0;
        for (const ActiveDay& d : u.days) total += d.activeSeconds;
        const bool inferred = std::any_of(u.periods.begin(), u.periods.end(), [](const ActivePeriod& p) { return p.inferred; });
        layout->addWidget(new QLabel(QStringLiteral("<h3>%1</h3><p>%2 active periods (%3), %4 min in all, on %5 days, from %6 to %7.</p>")
                                         .arg(u.user.toHtmlEscaped())
                                         .arg(u.periods.size())
                                         .arg(inferred ? QStringLiteral("inferred from bursts of activity") : QStringLiteral("logon sessions"))
                                         .arg(total / 60)
                                         .arg(u.days.size())
                                         .arg(u.first ? times.text(*u.first) : QString(), u.last ? times.text(*u.last) : QString()),
                                     page_));
        auto* heat = new HeatMap(u, page_);
        auto* bars = new DayBars(u, page_);
        heatMaps.push_back(heat);
        dayBars.push_back(bars);
        layout->addWidget(heat);
        layout->addWidget(bars);
        const QString user = u.user;
        const QTimeZone zone = model_->zone();
        connect(bars, &DayBars::dayClicked, this, [this, user, zone](const QString& date) {
            const QDateTime start(QDate::fromString(date, Qt::ISODate), QTime(0, 0), zone);
            emit showInTimeline(QString(), user, start.toMSecsSinceEpoch() * 1000, start.addDays(1).toMSecsSinceEpoch() * 1000 - 1);
        });
        const struct {
            const char* title;
            const std::vector<Ranked>* items;
            const char* unit;
        } tops[] = {{"Programs used most", &u.programs, "runs"}, {"Sites visited most", &u.sites, "visits"}, {"Documents opened", &u.documents, ""}};
        for (const auto& top : tops) {
            QListWidget* list = addList(layout, QLatin1String(top.title), u.user);
            for (const Ranked& r : *top.items) {
                const QString count = r.count ? QStringLiteral("%1 %2, ").arg(r.count).arg(QLatin1String(top.unit)) : QString();
                add(list, count + r.name + (r.last ? QStringLiteral(" (last %1)").arg(times.text(*r.last)) : QString()), {r.name, u.user, {}, {}});
            }
        }
    }
    const struct {
        const char* title;
        const std::vector<Statement>* items;
    } machine[] = {{"Devices attached", &model_->devices()}, {"Files deleted", &model_->deletions()}, {"Notable events", &model_->notable()}};
    for (const auto& section : machine) {
        QListWidget* list = addList(layout, QLatin1String(section.title), QString());
        for (const Statement& s : *section.items) {
            const auto [from, to] = around(s.time);
            add(list, (s.time ? times.text(*s.time) + QStringLiteral("  ") : QString()) + s.what + (s.user.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(s.user)),
                {QString(), s.user, from, to});
        }
    }
    layout->addStretch();
    setWidget(page_);
}

}  // namespace kestrova
