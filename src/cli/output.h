// How kestrova-cli prints a category: TSV, CSV or JSON, the same content in each: the key, the
// column headers, the rows and both status panels. Each category is printed straight from the
// list as soon as it has run, so memory does not grow with the number of categories printed.
#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include "core/frame/result_list.h"

namespace kestrova::cli {

enum class Format { Tsv, Csv, Json };

// TSV and CSV print one record a line: "key", "columns", one "row" a row, a "message" for each
// message box the category showed, "panel1", "panel2". JSON prints one array holding one object
// per key, with "message" when the category showed one.
class Printer {
public:
    Printer(QTextStream& out, Format format) : out_(out), format_(format) {}
    ~Printer() { finish(); }
    void category(const QString& key, const ResultList& list, const QStringList& messages = {});
    // Closes the document (the JSON array); called by the destructor if not before.
    void finish();

private:
    void record(const QString& kind, const QStringList& fields);
    QTextStream& out_;
    Format format_;
    bool started_ = false;
    bool finished_ = false;
};

QString escapeTsv(const QString& text);
QString escapeCsv(const QString& text);
// A JSON string literal, quotes included.
QString jsonString(const QString& text);

}  // namespace kestrova::cli
