#include "gui/timeline_pane.h"

#include "gui/tag_menu.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "gui/responsive_sink.h"
#include "gui/trace_export.h"
#include "traces/trace_context.h"

namespace kestrova {
namespace {

// A button whose menu checks names on and off (the kinds, users or hosts shown).
QToolButton* filterButton(QWidget* parent, const QString& text, QMenu** menu) {
    auto* button = new QToolButton(parent);
    button->setText(text);
    button->setPopupMode(QToolButton::InstantPopup);
    *menu = new QMenu(button);
    button->setMenu(*menu);
    return button;
}

// What a filter menu lets through, by each entry's index (its data); empty when every entry is
// checked (nothing is filtered out).
std::vector<bool> checkedOf(const QMenu* menu, size_t count) {
    const QList<QAction*> actions = menu->actions();
    if (std::all_of(actions.begin(), actions.end(), [](const QAction* a) { return a->isChecked(); })) return {};
    std::vector<bool> checked(count, false);
    for (const QAction* a : actions) {
        const auto at = static_cast<size_t>(a->data().toInt());
        if (at < count) checked[at] = a->isChecked();
    }
    return checked;
}

}  // namespace

TimelinePane::TimelinePane(QWidget* parent) : QWidget(parent) {
    filter = new QLineEdit(this);
    filter->setPlaceholderText(QStringLiteral("Filter: any text of the events"));
    filter->setClearButtonEnabled(true);
    kindsButton_ = filterButton(this, QStringLiteral("Kinds"), &kindsMenu_);
    usersButton_ = filterButton(this, QStringLiteral("Users"), &usersMenu_);
    hostsButton_ = filterButton(this, QStringLiteral("Hosts"), &hostsMenu_);
    hostsButton_->hide();
    auto* whole = new QPushButton(QStringLiteral("Whole range"), this);
    count = new QLabel(this);
    outsideButton = new QPushButton(this);
    outsideButton->setFlat(true);
    outsideButton->setToolTip(QStringLiteral("Show the events the histogram leaves out: times far from the others, such as a cookie's "
                                             "expiry in 9999 or a time of zero"));
    outsideButton->hide();
    histogram = new TimelineHistogram(this);
    model_ = new TimelineModel(this);
    table = new QTableView(this);
    table->setModel(model_);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->verticalHeader()->hide();
    // Uniform rows: the view asks only for what is on screen, whatever the number of events.
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 4);
    table->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    table->setSortingEnabled(true);
    table->horizontalHeader()->setStretchLastSection(true);
    table->setTextElideMode(Qt::ElideMiddle);
    details = new QPlainTextEdit(this);
    details->setReadOnly(true);
    details->setPlaceholderText(QStringLiteral("Click an event to see all its fields and its source."));

    auto* bar = new QHBoxLayout;
    bar->addWidget(filter, 1);
    bar->addWidget(kindsButton_);
    bar->addWidget(usersButton_);
    bar->addWidget(hostsButton_);
    bar->addWidget(whole);
    bar->addWidget(count);
    bar->addWidget(outsideButton);
    onlyTagged = new QCheckBox(QStringLiteral("Show only tagged"), this);
    onlyTagged->setObjectName(QStringLiteral("timelineOnlyTagged"));
    bar->addWidget(onlyTagged);
    auto* split = new QSplitter(Qt::Vertical, this);
    split->addWidget(table);
    split->addWidget(details);
    split->setStretchFactor(0, 4);
    split->setStretchFactor(1, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(histogram);
    layout->addWidget(split, 1);

    connect(filter, &QLineEdit::textChanged, this, [this] { refilter(); });
    connect(onlyTagged, &QCheckBox::toggled, this, [this] { refilter(); });
    table->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(table, &QTableView::customContextMenuRequested, this, [this](const QPoint& at) {
        QList<int> rows;
        for (const QModelIndex& index : table->selectionModel()->selectedRows()) rows << index.row();
        if (rows.isEmpty() && table->indexAt(at).isValid()) rows << table->indexAt(at).row();
        if (rows.isEmpty() || !tags_) return;
        showTagMenu(this, table->viewport()->mapToGlobal(at), [&](const QString& label, const std::optional<QString>& note) {
            QString why;
            if (!tagEvents(rows, label, note, &why)) emit tagFailed(why);
        });
    });
    connect(whole, &QPushButton::clicked, histogram, &TimelineHistogram::clearSelection);
    connect(histogram, &TimelineHistogram::rangeSelected, this, [this](std::optional<int64_t> from, std::optional<int64_t> to) {
        from_ = from;
        to_ = to;
        outsideOnly_ = false;
        applyRange();
    });
    connect(outsideButton, &QPushButton::clicked, this, [this] {
        histogram->markRange(std::nullopt, std::nullopt);
        from_.reset();
        to_.reset();
        outsideOnly_ = true;
        applyRange();
    });
    connect(table->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { showDetails(current.row()); });
    connect(table, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        if (const QString text = openableText(index.row()); !text.isEmpty()) emit openRequested(text);
    });
}

QString TimelinePane::openableText(int row) const {
    if (!store_ || row < 0 || static_cast<size_t>(row) >= model_->shown().size()) return QString();
    const TimelineStore::Event& e = store_->event(model_->shown()[static_cast<size_t>(row)]);
    Provenance from;
    std::vector<Value> values;
    store_->decode(e, from, values);
    const TraceKind& kind = store_->kindOf(e);
    for (const FieldType wanted : {FieldType::Url, FieldType::Path}) {
        for (size_t f = 0; f < kind.fields.size(); ++f) {
            if (kind.fields[f].type == wanted && values[f].is == Value::Is::Text && !values[f].utf8.empty()) {
                return QString::fromUtf8(values[f].utf8.data(), static_cast<qsizetype>(values[f].utf8.size()));
            }
        }
    }
    return QString::fromUtf8(from.source);
}

TimelinePane::~TimelinePane() = default;

qint64 TimelinePane::fill(const KindReader& read, const QTimeZone& zone, const QString& hostname, RunControl& run) {
    zone_ = zone;
    hostname_ = hostname;
    model_->setStore(nullptr, zone);
    store_ = std::make_unique<TimelineStore>();
    // The window stays responsive while every kind is read; Cancel ends the reading (what was
    // read stays).
    ResponsiveSink sink(*store_, run);
    for (const TraceKind& kind : traceKinds()) {
        if (run.stopRequested) break;
        read(kind, sink);
    }
    store_->finish();
    model_->setStore(store_.get(), zone);
    table->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    details->clear();
    rebuildMenus();
    refilter(false);
    table->setColumnWidth(TimelineModel::DateTime, table->fontMetrics().horizontalAdvance(QStringLiteral("0000-00-00T00:00:00.000000+00:00  ")));
    table->setColumnWidth(TimelineModel::Description, 150);
    table->setColumnWidth(TimelineModel::Kind, 140);
    table->setColumnWidth(TimelineModel::User, 90);
    table->setColumnWidth(TimelineModel::Message, 500);
    return static_cast<qint64>(store_->size());
}

void TimelinePane::rebuildMenus() {
    kindsMenu_->clear();
    usersMenu_->clear();
    hostsMenu_->clear();
    std::vector<bool> present(traceKinds().size(), false);
    for (size_t i = 0; i < store_->size(); ++i) present[store_->event(i).kind] = true;
    for (size_t k = 0; k < present.size(); ++k) {
        if (!present[k]) continue;
        QAction* a = kindsMenu_->addAction(QLatin1String(traceKinds()[k].name));
        a->setCheckable(true);
        a->setChecked(true);
        a->setData(static_cast<int>(k));
        connect(a, &QAction::toggled, this, [this] { refilter(); });
    }
    for (qsizetype u = 0; u < store_->users().size(); ++u) {
        const QString name = store_->users()[u];
        QAction* a = usersMenu_->addAction(name.isEmpty() ? QStringLiteral("(the machine's)") : name);
        a->setCheckable(true);
        a->setChecked(true);
        a->setData(static_cast<int>(u));
        connect(a, &QAction::toggled, this, [this] { refilter(); });
    }
    // A case of several hosts: which hosts to show, and the host column.
    const bool hosts = store_->hosts().size() > 1;
    for (qsizetype h = 0; hosts && h < store_->hosts().size(); ++h) {
        QAction* a = hostsMenu_->addAction(store_->hosts()[h]);
        a->setCheckable(true);
        a->setChecked(true);
        a->setData(static_cast<int>(h));
        connect(a, &QAction::toggled, this, [this] { refilter(); });
    }
    hostsButton_->setVisible(hosts);
    table->setColumnHidden(TimelineModel::Host, !hosts);
}

void TimelinePane::setHosts(const QStringList& hosts) {
    for (QAction* a : hostsMenu_->actions()) {
        const QSignalBlocker one(a);
        a->setChecked(hosts.isEmpty() || hosts.contains(a->text()));
    }
    refilter();
}

void TimelinePane::setKinds(const QStringList& kinds) {
    const QSignalBlocker block(kindsMenu_);
    for (QAction* a : kindsMenu_->actions()) {
        const QSignalBlocker one(a);
        a->setChecked(kinds.isEmpty() || kinds.contains(a->text()));
    }
    refilter();
}

void TimelinePane::setUsers(const QStringList& users) {
    for (QAction* a : usersMenu_->actions()) {
        const QSignalBlocker one(a);
        a->setChecked(users.isEmpty() || users.contains(a->text()));
    }
    refilter();
}

void TimelinePane::focusOn(const QString& text, const QString& user, std::optional<int64_t> from, std::optional<int64_t> to) {
    {
        const QSignalBlocker quiet(filter);
        filter->setText(text);
    }
    for (QAction* a : usersMenu_->actions()) {
        const QSignalBlocker one(a);
        a->setChecked(user.isEmpty() || a->text() == user);
    }
    from_ = from;
    to_ = to;
    outsideOnly_ = false;
    histogram->markRange(from, to);
    refilter(true);
}

void TimelinePane::refilter(bool keepRange) {
    if (!store_) return;
    TimelineStore::Filter f;
    f.text = filter->text();
    f.kinds = checkedOf(kindsMenu_, traceKinds().size());
    f.users = checkedOf(usersMenu_, static_cast<size_t>(store_->users().size()));
    f.hosts = checkedOf(hostsMenu_, static_cast<size_t>(store_->hosts().size()));
    filtered_ = store_->select(f);
    if (onlyTagged->isChecked()) std::erase_if(filtered_, [this](uint32_t event) { return !model_->tagged(event); });
    std::vector<int64_t> times;
    times.reserve(filtered_.size());
    for (const uint32_t i : filtered_) times.push_back(store_->event(i).time);
    // The histogram shows what the filters let through; a range dragged on it stays (typing in
    // the filter narrows what is in the range, it does not widen the range).
    histogram->setTimes(times, zone_);
    if (!keepRange) {
        from_.reset();
        to_.reset();
        outsideOnly_ = false;
    }
    histogram->markRange(from_, to_);
    const qint64 outside = histogram->outside();
    outsideButton->setText(QStringLiteral("%1 events outside the range").arg(outside));
    outsideButton->setVisible(outside > 0);
    applyRange();
}

void TimelinePane::applyRange() {
    // filtered_ is in time order: the range is the slice between two binary searches.
    const auto timeOf = [this](uint32_t i) { return store_->event(i).time; };
    auto begin = filtered_.begin(), end = filtered_.end();
    if (from_) begin = std::partition_point(filtered_.begin(), filtered_.end(), [&](uint32_t i) { return timeOf(i) < *from_; });
    if (to_) end = std::partition_point(begin, filtered_.end(), [&](uint32_t i) { return timeOf(i) <= *to_; });
    table->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    if (outsideOnly_) {
        const std::optional<TimeRange> range = histogram->range();
        std::vector<uint32_t> outside;
        for (const uint32_t i : filtered_) {
            if (!range || !range->contains(timeOf(i))) outside.push_back(i);
        }
        model_->show(std::move(outside));
    } else {
        model_->show(std::vector<uint32_t>(begin, end));
    }
    details->clear();
    count->setText(QStringLiteral("%1 of %2 events").arg(model_->rowCount()).arg(store_ ? store_->size() : 0));
}

void TimelinePane::showDetails(int row) {
    if (!store_ || row < 0 || static_cast<size_t>(row) >= model_->shown().size()) return;
    const TimelineStore::Event& e = store_->event(model_->shown()[static_cast<size_t>(row)]);
    Provenance from;
    std::vector<Value> values;
    store_->decode(e, from, values);
    const TraceKind& kind = store_->kindOf(e);
    QStringList lines;
    const auto line = [&](const QString& name, const QString& value) {
        if (!value.isEmpty()) lines << name + QStringLiteral(": ") + value;
    };
    line(QStringLiteral("datetime"), model_->times().text(e.time));
    line(QStringLiteral("timestamp"), QString::number(e.time));
    line(QStringLiteral("timestamp_desc"), QString::fromLatin1(store_->meaning(e)));
    line(QStringLiteral("message"), QString::fromStdString(store_->message(e)));
    line(QStringLiteral("kind"), QLatin1String(kind.name));
    line(QStringLiteral("user"), QString::fromUtf8(from.user));
    line(QStringLiteral("browser"), QString::fromUtf8(from.browser));
    line(QStringLiteral("profile"), QString::fromUtf8(from.profile));
    line(QStringLiteral("hostname"), hostname_);
    line(QStringLiteral("source"), QString::fromUtf8(from.source));
    line(QStringLiteral("source_part"), QString::fromUtf8(from.part));
    line(QStringLiteral("snapshot"), QString::fromUtf8(from.snapshot));
    line(QStringLiteral("seen_in"), QString::fromUtf8(from.seenIn));
    line(QStringLiteral("snapshot_note"), QString::fromUtf8(from.snapshotNote));
    lines << QString();
    for (size_t f = 0; f < kind.fields.size(); ++f) {
        const Value& v = values[f];
        if (v.absent()) continue;
        QString text;
        if (v.is == Value::Is::Text && kind.fields[f].type == FieldType::Fields) text = QString::fromStdString(namedValuesLine(v.utf8));
        else if (v.is == Value::Is::Text) text = QString::fromUtf8(v.utf8.data(), static_cast<qsizetype>(v.utf8.size()));
        else if (kind.fields[f].type == FieldType::Time) text = model_->times().text(v.number);
        else if (kind.fields[f].type == FieldType::Bool) text = v.number ? QStringLiteral("true") : QStringLiteral("false");
        else text = QString::number(v.number);
        lines << QLatin1String(kind.fields[f].name) + QStringLiteral(": ") + text;
    }
    details->setPlainText(lines.join(QLatin1Char('\n')));
}

void TimelinePane::setCaseFile(CaseFile* tags) {
    tags_ = tags;
    model_->setCaseFile(tags);
}

bool TimelinePane::tagEvents(const QList<int>& rows, const QString& label, const std::optional<QString>& note, QString* why) {
    if (!tags_ || !store_) {
        *why = QStringLiteral("no case file is open");
        return false;
    }
    for (const int row : rows) {
        if (row < 0 || static_cast<size_t>(row) >= model_->shown().size()) continue;
        const size_t event = model_->shown()[static_cast<size_t>(row)];
        if (!applyTag(*tags_, model_->identity(event), QLatin1String(store_->kindOf(store_->event(event)).name), model_->what(event), label, note, why)) {
            return false;
        }
    }
    model_->tagsChanged();
    return true;
}

std::optional<QString> TimelinePane::exportTo(const QString& path) const {
    if (!store_) return QStringLiteral("no timeline is shown");
    return exportTimeline(*model_, hostname_, path);
}

}  // namespace kestrova
