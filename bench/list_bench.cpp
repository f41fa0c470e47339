// Fills the result list with 1,000,000 rows of three columns and shows it in the real list view,
// then sorts it by a column. Reference, measured in the same run: the same texts pushed into a
// plain std::vector<QString>. Prints times, heap bytes per row and the ratios.
#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QTreeView>
#include <cstdio>
#include <vector>

#include "bench_support.h"
#include "core/frame/result_list.h"
#include "gui/result_list_model.h"

namespace {

constexpr int kRows = 1000000;

QStringList rowTexts(int i) {
    return {QStringLiteral("http://www.site%1.example/path/page%2.html").arg(i % 9973).arg(i),
            QStringLiteral("Page title number %1").arg(i), QStringLiteral("11/%1/2026 10:%2:00 AM").arg(i % 28 + 1).arg(i % 60)};
}

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);

    // What making the texts costs by itself, in both fills below.
    QElapsedTimer timer;
    timer.start();
    size_t sink = 0;
    for (int i = 0; i < kRows; ++i) sink += static_cast<size_t>(rowTexts(i).size());
    const double generateMs = timer.nsecsElapsed() / 1e6;

    // Reference: a vector of QStrings holding the same cells.
    size_t before = kestrova::bench::heapInUse();
    timer.restart();
    std::vector<QString> reference;
    reference.reserve(static_cast<size_t>(kRows) * 3);
    for (int i = 0; i < kRows; ++i) {
        for (QString& cell : rowTexts(i)) reference.push_back(std::move(cell));
    }
    const double referenceMs = timer.nsecsElapsed() / 1e6;
    const double referenceBytes = static_cast<double>(kestrova::bench::heapInUse() - before) / kRows;
    reference.clear();
    reference.shrink_to_fit();

    // The list itself, then the view over it.
    before = kestrova::bench::heapInUse();
    timer.restart();
    kestrova::ResultList list;
    list.addColumn("URL", 5000);
    list.addColumn("Title", 5000);
    list.addColumn("Last Visited", 2000);
    for (int i = 0; i < kRows; ++i) list.addRow(rowTexts(i));
    const double fillMs = timer.nsecsElapsed() / 1e6;
    const double listBytes = static_cast<double>(kestrova::bench::heapInUse() - before) / kRows;
    const double textBytes = static_cast<double>(list.textBytes()) / kRows;

    timer.restart();
    kestrova::ResultListModel model(list);
    QTreeView view;
    view.setUniformRowHeights(true);
    view.setRootIsDecorated(false);
    view.setModel(&model);
    view.resize(1000, 700);
    view.show();
    app.processEvents();
    view.scrollToBottom();
    app.processEvents();
    const double showMs = timer.nsecsElapsed() / 1e6;

    timer.restart();
    model.setSort(1);
    app.processEvents();
    const double sortMs = timer.nsecsElapsed() / 1e6;

    std::printf("rows: %d of 3 columns (%zu cells)\n", kRows, sink);
    std::printf("making the texts alone:              %.0f ms (part of both fills)\n", generateMs);
    std::printf("reference std::vector<QString> fill: %.0f ms, %.1f heap bytes/row\n", referenceMs, referenceBytes);
    std::printf("ResultList fill:                     %.0f ms, %.1f heap bytes/row (text alone %.1f)\n", fillMs,
                listBytes, textBytes);
    std::printf("model + view shown and scrolled:     %.0f ms\n", showMs);
    std::printf("sort by Title:                       %.0f ms\n", sortMs);
    std::printf("ratio fill time / reference:         %.2f\n", fillMs / referenceMs);
    std::printf("ratio storing time / reference:      %.2f (texts' making taken out)\n",
                (fillMs - generateMs) / (referenceMs - generateMs));
    std::printf("ratio fill+show time / reference:    %.2f\n", (fillMs + showMs) / referenceMs);
    std::printf("ratio memory / reference:            %.2f\n", listBytes / referenceBytes);
    std::printf("ratio memory / text:                 %.2f\n", listBytes / textBytes);
    return 0;
}
