// How kestrova-cli prints a category: TSV, CSV or JSON, the same content in each: the key, the
// column headers, the rows and both status panels.
#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include "core/app/result_list.h"

namespace kestrova::cli {

enum class Format { Tsv, Csv, Json };

struct CategoryOutput {
    QString key;
    QStringList columns;
    QList<QStringList> rows;
    QString panel1;
    QString panel2;
};

CategoryOutput snapshot(const QString& key, const ResultList& list);
// TSV and CSV print one record a line: "key", "columns", one "row" a row, "panel1", "panel2".
// JSON prints one array holding one object per key.
void print(QTextStream& out, Format format, const QList<CategoryOutput>& categories);
QString escapeTsv(const QString& text);
QString escapeCsv(const QString& text);

}  // namespace kestrova::cli
