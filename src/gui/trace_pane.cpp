#include "gui/trace_pane.h"

#include "gui/responsive_sink.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>

#include "gui/tag_menu.h"
#include "gui/trace_export.h"
#include "traces/trace_context.h"

namespace kestrova {

TracePane::TracePane(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("tracePane"));
    filter = new QLineEdit(this);
    filter->setObjectName(QStringLiteral("traceFilter"));
    filter->setPlaceholderText(QStringLiteral("Filter: rows holding this text in any column"));
    filter->setClearButtonEnabled(true);
    table = new QTableView(this);
    table->setObjectName(QStringLiteral("traceTable"));
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setAlternatingRowColors(true);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 4);
    table->verticalHeader()->hide();
    // A long path keeps its drive and its file name in sight; the tooltip has the whole text.
    table->setTextElideMode(Qt::ElideMiddle);
    model_ = new TraceTableModel(this);
    proxy_ = new TraceFilterModel(this);
    proxy_->setSourceModel(model_);
    table->setModel(proxy_);
    // Records stay in the order they were read until a header is clicked.
    table->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    table->setSortingEnabled(true);
    onlyTagged = new QCheckBox(QStringLiteral("Show only tagged"), this);
    onlyTagged->setObjectName(QStringLiteral("traceOnlyTagged"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* bar = new QHBoxLayout;
    bar->addWidget(filter, 1);
    bar->addWidget(onlyTagged);
    layout->addLayout(bar);
    layout->addWidget(table);
    connect(onlyTagged, &QCheckBox::toggled, proxy_, &TraceFilterModel::setOnlyTagged);
    // Tagging: the rows selected, from their context menu.
    table->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(table, &QTableView::customContextMenuRequested, this, [this](const QPoint& at) {
        QList<int> rows;
        for (const QModelIndex& index : table->selectionModel()->selectedRows()) rows << index.row();
        if (rows.isEmpty() && table->indexAt(at).isValid()) rows << table->indexAt(at).row();
        if (rows.isEmpty() || !model_->caseFile()) return;
        showTagMenu(this, table->viewport()->mapToGlobal(at), [&](const QString& label, const std::optional<QString>& note) {
            QString why;
            if (!tagRows(rows, label, note, &why)) emit tagFailed(why);
        });
    });
    connect(filter, &QLineEdit::textChanged, proxy_, [this](const QString& text) { proxy_->setFilterFixedString(text); });
    connect(table, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        if (const QString text = openableText(index); !text.isEmpty()) emit openRequested(text);
    });
}

QString TracePane::openableText(const QModelIndex& shown) const {
    if (!shown.isValid() || !model_->kind()) return QString();
    if (shown.column() < 0 || static_cast<size_t>(shown.column()) >= model_->columns().size()) return QString();
    const FieldType type = model_->columns()[static_cast<size_t>(shown.column())].type;
    if (type != FieldType::Url && type != FieldType::Path) return QString();
    return shown.data(Qt::DisplayRole).toString();
}

qint64 TracePane::fill(const TraceKind& kind, const KindReader& read, ExtraColumns extra, const QTimeZone& zone, RunControl& run) {
    filter->clear();
    table->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    proxy_->sort(-1);
    model_->start(kind, zone, extra);
    // The window stays responsive while the table fills: records reach the view in batches,
    // events run between them, Cancel ends the reading.
    ResponsiveSink sink(*model_, run, [this] { model_->flush(); });
    const qint64 records = read(kind, sink);
    model_->flush();
    table->resizeColumnsToContents();
    for (int c = 0; c < model_->columnCount(); ++c) table->setColumnWidth(c, std::min(table->columnWidth(c), 400));
    return records;
}

bool TracePane::tagRows(const QList<int>& shownRows, const QString& label, const std::optional<QString>& note, QString* why) {
    CaseFile* tags = model_->caseFile();
    if (!tags) {
        *why = QStringLiteral("no case file is open");
        return false;
    }
    for (const int shown : shownRows) {
        const int row = proxy_->mapToSource(proxy_->index(shown, 0)).row();
        if (row < 0) continue;
        if (!applyTag(*tags, model_->identity(row), QLatin1String(model_->kind()->name), model_->what(row), label, note, why)) return false;
        model_->tagChanged(row);
    }
    if (onlyTagged->isChecked()) proxy_->setOnlyTagged(true);
    return true;
}

std::optional<QString> TracePane::exportTo(const QString& path) const {
    if (!model_->kind()) return QStringLiteral("no trace table is shown");
    return path.endsWith(QLatin1String(".xlsx"), Qt::CaseInsensitive) ? exportXlsx(*proxy_, *model_, path)
                                                                      : exportCsv(*proxy_, *model_, path);
}

}  // namespace kestrova
