// The window's Timeline: every event of every trace kind in one table, in the list's place. Above
// the table, a text filter, the kinds and users to show, and a histogram of the events over time
// on which a drag selects a time range; below it, the clicked event's fields and source. It reads
// every kind into a TimelineStore, staying responsive (events run between batches, Cancel stops),
// and exports what it shows as CSV, XLSX or JSONL.
#pragma once

#include <QTimeZone>
#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

#include "core/frame/run_control.h"
#include "gui/responsive_sink.h"
#include "gui/timeline_histogram.h"
#include "gui/timeline_model.h"

class QLabel;
class QCheckBox;
class QLineEdit;
class QMenu;
class QPlainTextEdit;
class QPushButton;
class QTableView;
class QToolButton;

namespace kestrova {

class TraceContext;

class TimelinePane : public QWidget {
    Q_OBJECT
public:
    explicit TimelinePane(QWidget* parent = nullptr);
    ~TimelinePane() override;

    // Reads every kind into the timeline; returns how many events it holds.
    qint64 fill(const KindReader& read, const QTimeZone& zone, const QString& hostname, RunControl& run);
    // Writes the events shown, in the table's order: .xlsx, .jsonl, else CSV. nullopt when
    // written, else why not.
    std::optional<QString> exportTo(const QString& path) const;
    // Shows only these kinds / users (names); empty: all. For the menus and tests.
    void setKinds(const QStringList& kinds);
    void setUsers(const QStringList& users);
    void setHosts(const QStringList& hosts);
    // Narrows to the events holding `text` ("" any), of `user` ("" any), in [from, to] (either end
    // open): what an item of the Overview stands for.
    void focusOn(const QString& text, const QString& user, std::optional<int64_t> from, std::optional<int64_t> to);

    QLineEdit* filter;
    TimelineHistogram* histogram;
    QTableView* table;
    QPlainTextEdit* details;
    QLabel* count;
    QPushButton* outsideButton;  // "N events outside the range": shows just those
    QCheckBox* onlyTagged;       // only the events whose record the examiner tagged
    // The examiner's case file events are tagged in (nullptr: tags cannot be given).
    void setCaseFile(CaseFile* tags);
    // Tags the records of the events at those table rows (see TracePane::tagRows).
    bool tagEvents(const QList<int>& rows, const QString& label, const std::optional<QString>& note, QString* why);
    TimelineModel* model() const { return model_; }
    // What a double-click on a row asks the window to open: the event's URL, else its path, else
    // the file it was read from.
    QString openableText(int row) const;

signals:
    void openRequested(const QString& text);
    void tagFailed(const QString& why);

private:
    // Applies the text, kinds and users; the dragged range stays unless `keepRange` is false.
    void refilter(bool keepRange = true);
    void applyRange();
    void showDetails(int row);
    void rebuildMenus();

    std::unique_ptr<TimelineStore> store_;
    TimelineModel* model_;
    QToolButton* kindsButton_;
    QToolButton* usersButton_;
    QToolButton* hostsButton_;  // shown where a case of several hosts is read
    QMenu* kindsMenu_;
    QMenu* usersMenu_;
    QMenu* hostsMenu_;
    QTimeZone zone_;
    QString hostname_;
    std::vector<uint32_t> filtered_;        // text, kinds and users applied, in time order
    std::optional<int64_t> from_, to_;      // the histogram's range
    bool outsideOnly_ = false;              // the events outside the histogram's range instead
    CaseFile* tags_ = nullptr;
};

}  // namespace kestrova
