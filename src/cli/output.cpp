#include "cli/output.h"

#include "core/common/text.h"

namespace kestrova::cli {

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
            default: out += hasEscapedBytes(QStringView(&c, 1)) ? showEscapedBytes(QStringView(&c, 1)) : QString(c);
        }
    }
    return out;
}

QString escapeCsv(const QString& text) {
    QString out = showEscapedBytes(text);
    out.replace(QChar(0), QLatin1String("\\0"));
    if (out.contains(QLatin1Char(',')) || out.contains(QLatin1Char('"')) || out.contains(QLatin1Char('\n')) ||
        out.contains(QLatin1Char('\r'))) {
        out.replace(QLatin1String("\""), QLatin1String("\"\""));
        out = QLatin1Char('"') + out + QLatin1Char('"');
    }
    return out;
}

QString jsonString(const QString& raw) {
    const QString text = showEscapedBytes(raw);
    QString out;
    out.reserve(text.size() + 2);
    out += QLatin1Char('"');
    for (const QChar c : text) {
        switch (c.unicode()) {
            case '"': out += QLatin1String("\\\""); break;
            case '\\': out += QLatin1String("\\\\"); break;
            case '\n': out += QLatin1String("\\n"); break;
            case '\r': out += QLatin1String("\\r"); break;
            case '\t': out += QLatin1String("\\t"); break;
            default:
                if (c.unicode() < 0x20) {
                    out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
                } else {
                    out += c;
                }
        }
    }
    out += QLatin1Char('"');
    return out;
}

namespace {

QString jsonArray(const QStringList& items) {
    QStringList quoted;
    quoted.reserve(items.size());
    for (const QString& item : items) quoted.append(jsonString(item));
    return QLatin1Char('[') + quoted.join(QStringLiteral(", ")) + QLatin1Char(']');
}

}  // namespace

void Printer::record(const QString& kind, const QStringList& fields) {
    const QLatin1Char sep(format_ == Format::Tsv ? '\t' : ',');
    out_ << kind;
    for (const QString& f : fields) out_ << sep << (format_ == Format::Tsv ? escapeTsv(f) : escapeCsv(f));
    out_ << '\n';
}

void Printer::category(const QString& key, const ResultList& list, const QStringList& messages) {
    QStringList columns;
    for (const Column& c : list.columns()) columns.append(c.text);
    if (format_ == Format::Json) {
        out_ << (started_ ? ",\n" : "[\n");
        started_ = true;
        out_ << "  {\n    \"key\": " << jsonString(key) << ",\n    \"columns\": " << jsonArray(columns)
             << ",\n    \"rows\": [";
        for (int r = 0; r < list.rowCount(); ++r) {
            out_ << (r ? ",\n      " : "\n      ") << jsonArray(list.row(r));
        }
        out_ << (list.rowCount() ? "\n    ]" : "]");
        if (!messages.isEmpty()) out_ << ",\n    \"message\": " << jsonString(messages.join(QLatin1Char('\n')));
        out_ << ",\n    \"panel1\": " << jsonString(list.panel1())
             << ",\n    \"panel2\": " << jsonString(list.panel2()) << "\n  }";
    } else {
        record(QStringLiteral("key"), {key});
        record(QStringLiteral("columns"), columns);
        for (int r = 0; r < list.rowCount(); ++r) record(QStringLiteral("row"), list.row(r));
        for (const QString& message : messages) record(QStringLiteral("message"), {message});
        record(QStringLiteral("panel1"), {list.panel1()});
        record(QStringLiteral("panel2"), {list.panel2()});
    }
    out_.flush();
}

void Printer::finish() {
    if (finished_) return;
    finished_ = true;
    if (format_ == Format::Json) out_ << (started_ ? "\n]\n" : "[]\n");
    out_.flush();
}

}  // namespace kestrova::cli
