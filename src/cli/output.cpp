#include "cli/output.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace kestrova::cli {

CategoryOutput snapshot(const QString& key, const ResultList& list) {
    CategoryOutput out{key, {}, {}, list.panel1(), list.panel2()};
    for (const Column& c : list.columns()) out.columns.append(c.text);
    for (int r = 0; r < list.rowCount(); ++r) out.rows.append(list.row(r));
    return out;
}

QString escapeTsv(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        switch (c.unicode()) {
            case '\\': out += QLatin1String("\\\\"); break;
            case '\t': out += QLatin1String("\\t"); break;
            case '\n': out += QLatin1String("\\n"); break;
            case '\r': out += QLatin1String("\\r"); break;
            case 0: out += QLatin1String("\\0"); break;
            default: out += c;
        }
    }
    return out;
}

QString escapeCsv(const QString& text) {
    QString out = text;
    out.replace(QChar(0), QLatin1String("\\0"));
    if (out.contains(QLatin1Char(',')) || out.contains(QLatin1Char('"')) || out.contains(QLatin1Char('\n')) ||
        out.contains(QLatin1Char('\r'))) {
        out.replace(QLatin1String("\""), QLatin1String("\"\""));
        out = QLatin1Char('"') + out + QLatin1Char('"');
    }
    return out;
}

namespace {

void record(QTextStream& out, Format format, const QString& kind, const QStringList& fields) {
    const QString sep = format == Format::Tsv ? QStringLiteral("\t") : QStringLiteral(",");
    out << kind;
    for (const QString& f : fields) out << sep << (format == Format::Tsv ? escapeTsv(f) : escapeCsv(f));
    out << '\n';
}

}  // namespace

void print(QTextStream& out, Format format, const QList<CategoryOutput>& categories) {
    if (format == Format::Json) {
        QJsonArray all;
        for (const CategoryOutput& c : categories) {
            QJsonArray rows;
            for (const QStringList& r : c.rows) rows.append(QJsonArray::fromStringList(r));
            all.append(QJsonObject{{"key", c.key},
                                   {"columns", QJsonArray::fromStringList(c.columns)},
                                   {"rows", rows},
                                   {"panel1", c.panel1},
                                   {"panel2", c.panel2}});
        }
        out << QJsonDocument(all).toJson(QJsonDocument::Indented);
        return;
    }
    for (const CategoryOutput& c : categories) {
        record(out, format, QStringLiteral("key"), {c.key});
        record(out, format, QStringLiteral("columns"), c.columns);
        for (const QStringList& r : c.rows) record(out, format, QStringLiteral("row"), r);
        record(out, format, QStringLiteral("panel1"), {c.panel1});
        record(out, format, QStringLiteral("panel2"), {c.panel2});
    }
}

}  // namespace kestrova::cli
