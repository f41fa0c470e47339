#include "traces/overview/case_report.h"

#include <algorithm>

#include "core/time/iso_time.h"

namespace kestrova {
namespace {

QString escaped(const QString& text) { return text.toHtmlEscaped(); }

class Page {
public:
    explicit Page(const IsoTimeWriter& times) : times_(times) {}
    void line(const QString& html) { out_ += html + QLatin1Char('\n'); }
    QString time(std::optional<UtcMicros> t) const { return t ? escaped(times_.text(*t)) : QString(); }
    QByteArray bytes() const { return out_.toUtf8(); }

private:
    const IsoTimeWriter& times_;
    QString out_;
};

constexpr const char* kWeekdays[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

// A weekday × hour grid of the user's records: a cell a square, darker with more records.
void heatMap(Page& page, const UserActivity& u) {
    int64_t most = 1;
    for (const auto& day : u.hours) most = std::max(most, *std::max_element(std::begin(day), std::end(day)));
    constexpr int kCell = 16, kLeft = 34, kTop = 14;
    page.line(QStringLiteral("<svg class=\"heatmap\" xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%2\" role=\"img\">")
                  .arg(kLeft + 24 * kCell)
                  .arg(kTop + 7 * kCell));
    page.line(QStringLiteral("<title>Records by weekday and hour</title>"));
    for (int h = 0; h < 24; h += 3) page.line(QStringLiteral("<text x=\"%1\" y=\"10\" font-size=\"9\">%2</text>").arg(kLeft + h * kCell).arg(h));
    for (int d = 0; d < 7; ++d) {
        page.line(QStringLiteral("<text x=\"0\" y=\"%1\" font-size=\"10\">%2</text>").arg(kTop + d * kCell + 12).arg(QLatin1String(kWeekdays[d])));
        for (int h = 0; h < 24; ++h) {
            const int64_t n = u.hours[d][h];
            // An hour without records is a pale grey cell, so that the grid shows where they are not.
            const int shade = n == 0 ? 0 : 30 + static_cast<int>(225 * n / most);
            page.line(QStringLiteral("<rect class=\"cell\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%3\" fill=\"rgb(%4,%5,%6)\"><title>%7 %8:00: %9 records</title></rect>")
                          .arg(kLeft + h * kCell)
                          .arg(kTop + d * kCell)
                          .arg(kCell - 1)
                          .arg(n == 0 ? 238 : 255 - shade)
                          .arg(n == 0 ? 238 : 255 - shade)
                          .arg(n == 0 ? 242 : 255)
                          .arg(QLatin1String(kWeekdays[d]))
                          .arg(h)
                          .arg(n));
        }
    }
    page.line(QStringLiteral("</svg>"));
}

// A bar a day: the time in active periods.
void dayBars(Page& page, const UserActivity& u) {
    int64_t longest = 1;
    for (const ActiveDay& d : u.days) longest = std::max(longest, d.activeSeconds);
    constexpr int kBar = 12, kHeight = 120;
    const int width = std::max(1, static_cast<int>(u.days.size())) * (kBar + 2);
    page.line(QStringLiteral("<svg class=\"days\" xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%2\" role=\"img\">").arg(width).arg(kHeight + 2));
    page.line(QStringLiteral("<title>Time in active periods, a bar a day</title>"));
    int x = 0;
    for (const ActiveDay& d : u.days) {
        const int height = std::max(1, static_cast<int>(kHeight * d.activeSeconds / longest));
        page.line(QStringLiteral("<rect class=\"bar\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"#3a6ea5\"><title>%5: %6 min, %7 records</title></rect>")
                      .arg(x)
                      .arg(kHeight - height)
                      .arg(kBar)
                      .arg(height)
                      .arg(d.date)
                      .arg(d.activeSeconds / 60)
                      .arg(d.records));
        x += kBar + 2;
    }
    page.line(QStringLiteral("</svg>"));
}

void rankedTable(Page& page, const char* title, const std::vector<Ranked>& list, const char* countName) {
    if (list.empty()) return;
    page.line(QStringLiteral("<h4>%1</h4>").arg(QLatin1String(title)));
    page.line(QStringLiteral("<table><tr><th>%1</th><th>name</th><th>last</th><th>from</th></tr>").arg(QLatin1String(countName)));
    for (const Ranked& r : list) {
        QStringList from;
        for (const RecordRef& ref : r.from) from << escaped(ref.kind + QStringLiteral(" ") + ref.source);
        from.removeDuplicates();
        page.line(QStringLiteral("<tr><td>%1</td><td>%2</td><td>%3</td><td>%4</td></tr>")
                      .arg(r.count)
                      .arg(escaped(r.name), page.time(r.last), from.join(QStringLiteral("<br/>"))));
    }
    page.line(QStringLiteral("</table>"));
}

void statements(Page& page, const char* title, const std::vector<Statement>& list) {
    page.line(QStringLiteral("<h2>%1</h2>").arg(QLatin1String(title)));
    if (list.empty()) {
        page.line(QStringLiteral("<p>None found.</p>"));
        return;
    }
    page.line(QStringLiteral("<table><tr><th>time</th><th>what</th><th>user</th><th>record</th></tr>"));
    for (const Statement& s : list) {
        const QString from = s.from.empty() ? QString() : escaped(s.from.front().kind + QStringLiteral(" ") + s.from.front().source + QStringLiteral(" ") + s.from.front().part);
        page.line(QStringLiteral("<tr><td>%1</td><td>%2</td><td>%3</td><td>%4</td></tr>").arg(page.time(s.time), escaped(s.what), escaped(s.user), from));
    }
    page.line(QStringLiteral("</table>"));
}

}  // namespace

QByteArray caseReportHtml(const ActivityModel& model, const CaseFacts& facts, const CaseFile* tags) {
    const IsoTimeWriter times(model.zone());
    Page page(times);
    page.line(QStringLiteral("<!DOCTYPE html>"));
    page.line(QStringLiteral("<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">"));
    page.line(QStringLiteral("<head>"));
    page.line(QStringLiteral("<meta charset=\"utf-8\" />"));
    page.line(QStringLiteral("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; img-src data:; script-src 'none'\" />"));
    page.line(QStringLiteral("<title>Case report: %1</title>").arg(escaped(facts.computer.isEmpty() ? facts.evidence : facts.computer)));
    page.line(QStringLiteral("<style>body{font-family:sans-serif;margin:2em;max-width:72em}table{border-collapse:collapse;margin:0.5em 0}"
                             "td,th{border:1px solid #bbb;padding:2px 6px;text-align:left;vertical-align:top;font-size:90%}h2{margin-top:1.5em}</style>"));
    page.line(QStringLiteral("</head>"));
    page.line(QStringLiteral("<body>"));
    page.line(QStringLiteral("<h1>What %1 was used for</h1>").arg(escaped(facts.computer.isEmpty() ? QStringLiteral("the computer") : facts.computer)));
    page.line(QStringLiteral("<h2>Evidence</h2>"));
    page.line(QStringLiteral("<table>"));
    std::vector<std::pair<QString, QString>> rows{{QStringLiteral("evidence"), facts.evidence}, {QStringLiteral("computer"), facts.computer}};
    rows.insert(rows.end(), facts.details.begin(), facts.details.end());
    rows.emplace_back(QStringLiteral("examined with"), facts.tool);
    rows.emplace_back(QStringLiteral("times in"), facts.zone);
    rows.emplace_back(QStringLiteral("records read"), QString::number(model.recordsRead()));
    for (const auto& [name, value] : rows) page.line(QStringLiteral("<tr><th>%1</th><td>%2</td></tr>").arg(escaped(name), escaped(value)));
    page.line(QStringLiteral("</table>"));
    page.line(QStringLiteral("<h2>Users</h2>"));
    if (model.users().empty()) page.line(QStringLiteral("<p>No user's own activity was found.</p>"));
    for (const UserActivity& u : model.users()) {
        page.line(QStringLiteral("<h3 class=\"user\">%1</h3>").arg(escaped(u.user)));
        int64_t total = 0;
        for (const ActiveDay& d : u.days) total += d.activeSeconds;
        const bool inferred = std::any_of(u.periods.begin(), u.periods.end(), [](const ActivePeriod& p) { return p.inferred; });
        page.line(QStringLiteral("<p>Active from %1 to %2: %3 periods (%4), %5 min in all, on %6 days.</p>")
                      .arg(page.time(u.first), page.time(u.last))
                      .arg(u.periods.size())
                      .arg(inferred ? QStringLiteral("inferred from bursts of activity") : QStringLiteral("logon sessions"))
                      .arg(total / 60)
                      .arg(u.days.size()));
        heatMap(page, u);
        dayBars(page, u);
        rankedTable(page, "Programs used most", u.programs, "runs");
        rankedTable(page, "Sites visited most", u.sites, "visits");
        rankedTable(page, "Documents opened", u.documents, "openings");
    }
    page.line(QStringLiteral("<h2>Tagged by the examiner</h2>"));
    if (!tags || tags->tags().empty()) page.line(QStringLiteral("<p>Nothing is tagged.</p>"));
    else {
        page.line(QStringLiteral("<table><tr><th>tag</th><th>record</th><th>note</th><th>tagged</th></tr>"));
        for (const auto& [identity, tag] : tags->tags()) {
            page.line(QStringLiteral("<tr class=\"tagged\"><td>%1</td><td>%2</td><td>%3</td><td>%4</td></tr>")
                          .arg(escaped(tag.label), escaped(tag.what), escaped(tag.note), page.time(tag.tagged)));
        }
        page.line(QStringLiteral("</table>"));
    }
    statements(page, "Devices attached", model.devices());
    statements(page, "Files deleted", model.deletions());
    statements(page, "Notable events", model.notable());
    page.line(QStringLiteral("</body>"));
    page.line(QStringLiteral("</html>"));
    return page.bytes();
}

CaseFacts caseFactsOf(const Environment& env, const QTimeZone& zone, const QString& options) {
    CaseFacts facts;
    facts.computer = env.system->computerName();
    facts.zone = zone.id().isEmpty() ? QStringLiteral("UTC") : QString::fromUtf8(zone.id());
    if (env.image) {
        const ImageSummary& image = env.image->summary();
        facts.evidence = env.source.image;
        facts.details.emplace_back(QStringLiteral("container"), QStringLiteral("%1, %2 bytes").arg(image.format).arg(image.size));
        if (image.files.size() > 1) facts.details.emplace_back(QStringLiteral("files"), image.files.join(QStringLiteral(", ")));
        for (const auto& [name, value] : image.metadata) facts.details.emplace_back(name, value);
        facts.details.emplace_back(QStringLiteral("partition"),
                                   QStringLiteral("%1%2").arg(image.chosen).arg(image.label.isEmpty() ? QString() : QStringLiteral(", label \"%1\"").arg(image.label)));
        if (!image.incomplete.isEmpty()) facts.details.emplace_back(QStringLiteral("image"), image.incomplete);
    } else if (env.collection) {
        facts.evidence = env.source.collection;
        for (const auto& [name, value] : env.collection->facts) facts.details.emplace_back(name, value);
    } else {
        facts.evidence = env.source.root;
    }
    facts.details.emplace_back(QStringLiteral("options"), options);
    return facts;
}

}  // namespace kestrova
