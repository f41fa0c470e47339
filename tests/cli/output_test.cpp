// kestrova-cli's printing: escapes that keep one record a line, CSV as a table a spreadsheet
// opens, the JSON shape, and rows fitted to the columns as the list would show them.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryFile>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

#include "cli/escape.h"
#include "cli/output.h"
#include "core/common/text.h"

namespace kestrova::cli {
namespace {

// Runs a category's rows through a streaming list into the printer, as the command line does,
// and returns what reached the file descriptor and what went to the notes.
struct Printed {
    QString out;
    QString notes;
};

Printed printed(Format format, int copies) {
    QTemporaryFile file, notes;
    EXPECT_TRUE(file.open() && notes.open());
    std::FILE* notesFile = std::fopen(qPrintable(notes.fileName()), "w");
    {
        ByteOutput out(file.handle());
        Printer printer(out, format, notesFile);
        for (int i = 0; i < copies; ++i) {
            ResultList list;
            list.streamTo(&printer);
            printer.begin("b3", list);
            list.clearColumns();
            list.addColumn("Start Menu Run History", 8000);
            list.addColumn("Second", 100);
            list.addRow(QStringList{"a\tb\\c\nd" + QString(QChar(0)), "2", "beyond the columns"});
            list.addRow(QStringLiteral("x,\"y\""));  // one cell: the second is empty
            list.addRowLatin1("caf\xE9");
            list.addRow(fromFileNameBytes("\xF0\x9F\x92\xA9\xA9"));  // U+1F4A9, then a byte that is not UTF-8
            list.setPanel1("Double Cilck to run");
            list.showCount();
            printer.end({"a message"});
        }
    }
    std::fclose(notesFile);
    file.seek(0);
    return {QString::fromUtf8(file.readAll()), QString::fromUtf8(notes.readAll())};
}

TEST(CliOutput, TsvEscapesTabNewlineBackslashNulAndStrayBytes) {
    EXPECT_EQ(printed(Format::Tsv, 1).out,
              QString::fromUtf8("key\tb3\ncolumns\tStart Menu Run History\tSecond\nrow\ta\\tb\\\\c\\nd\\0\t2\nrow\tx,\"y\"\t\n"
                                "row\tcaf\xC3\xA9\t\nrow\t\xF0\x9F\x92\xA9\\xA9\t\nmessage\ta message\n"
                                "panel1\tDouble Cilck to run\npanel2\tTotal Records: 4\n"));
}

TEST(CliOutput, CsvIsOneTableACategoryWithPanelsAndMessagesBeside) {
    const Printed two = printed(Format::Csv, 2);
    const QString table = QString::fromUtf8("Start Menu Run History,Second\n\"a\tb\\c\nd\\0\",2\n\"x,\"\"y\"\"\",\n"
                                            "caf\xC3\xA9,\n\xF0\x9F\x92\xA9\\xA9,\n");
    EXPECT_EQ(two.out, table + "\n" + table);
    EXPECT_EQ(two.notes, "b3: message: a message\nb3: panel1: Double Cilck to run\nb3: panel2: Total Records: 4\n"
                         "b3: message: a message\nb3: panel1: Double Cilck to run\nb3: panel2: Total Records: 4\n");
}

TEST(CliOutput, JsonHoldsOneObjectPerKeyAndEscapesControlCharacters) {
    QJsonParseError error;
    const QJsonArray all = QJsonDocument::fromJson(printed(Format::Json, 2).out.toUtf8(), &error).array();
    ASSERT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
    ASSERT_EQ(all.size(), 2);
    const QJsonObject first = all[0].toObject();
    EXPECT_EQ(first["key"].toString(), "b3");
    const QJsonArray rows = first["rows"].toArray();
    ASSERT_EQ(rows.size(), 4);
    EXPECT_EQ(rows[0].toArray(), (QJsonArray{"a\tb\\c\nd" + QString(QChar(0)), "2"}));
    EXPECT_EQ(rows[1].toArray(), (QJsonArray{"x,\"y\"", ""}));
    EXPECT_EQ(rows[3].toArray()[0].toString(), QString::fromUtf8("\xF0\x9F\x92\xA9\\xA9"));
    EXPECT_EQ(first["message"].toString(), "a message");
    EXPECT_EQ(first["panel2"].toString(), "Total Records: 4");
    EXPECT_EQ(QJsonDocument::fromJson(printed(Format::Json, 0).out.toUtf8()).array().size(), 0);
}

// The escapes written character by character, as the format's rules say: what the block-wise
// writer must produce for any text.
std::string reference(const QString& text, Format format) {
    std::string out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c >= 0xDC80 && c <= 0xDCFF && (i == 0 || !text[i - 1].isHighSurrogate())) {
            out += format == Format::Json ? "\\\\x" : "\\x";
            out += QByteArray::number(c - 0xDC00, 16).toUpper().toStdString();
        } else if (c == 0 && format != Format::Json) {
            out += "\\0";
        } else if (format == Format::Tsv && (c == '\\' || c == '\t' || c == '\n' || c == '\r')) {
            out += c == '\\' ? "\\\\" : c == '\t' ? "\\t" : c == '\n' ? "\\n" : "\\r";
        } else if (format == Format::Csv && c == '"') {
            out += "\"\"";
        } else if (format == Format::Json && (c < 0x20 || c == '"' || c == '\\')) {
            out += c == '"' ? "\\\"" : c == '\\' ? "\\\\" : c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\t' ? "\\t"
                 : QStringLiteral("\\u%1").arg(c, 4, 16, QLatin1Char('0')).toUpper().replace("\\U", "\\u").toStdString();
        } else if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            out += text.mid(i, 2).toUtf8().toStdString();
            ++i;
        } else {
            out += (text[i].isSurrogate() ? QString(QChar(0xFFFD)) : QString(text[i])).toUtf8().toStdString();
        }
    }
    if (format == Format::Csv && (text.contains(',') || text.contains('"') || text.contains('\n') || text.contains('\r'))) {
        out = '"' + out + '"';
    }
    return out;
}

// Random texts with what fields really hold: runs of NULs, plain runs longer and shorter than a
// block, high bytes, every escaped character, stray bytes and surrogates.
TEST(CliOutput, BlockWiseEscapingMatchesTheRulesOnAnyText) {
    QRandomGenerator rng(42);
    const char pieces[] = {'\0', '\0', '\0', 'a', 'b', '/', '\\', '"', ',', '\t', '\n', '\r', '\x01', '\x1F', '\x7F', '\xE9', '\xFF'};
    for (int round = 0; round < 4000; ++round) {
        QByteArray bytes;
        const int length = static_cast<int>(rng.bounded(round % 2 ? 20 : 90));  // short fields too
        while (bytes.size() < length) {
            const char c = pieces[rng.bounded(static_cast<int>(sizeof pieces))];
            bytes.append(static_cast<qsizetype>(rng.bounded(1, 20)), c);
        }
        const QString latin1 = QString::fromLatin1(bytes);
        QString wide = latin1;
        if (round % 3 == 0) wide += fromFileNameBytes("\xF0\x9F\x92\xA9\xA9") + QChar(0xD800) + "x";
        // Record texts are UTF-8 that may hold stray bytes: in a buffer of their exact size, and
        // written into exactly the room asked for, so that a read or write beyond either shows
        // under the sanitizers.
        QByteArray utf8 = bytes;
        if (round % 3 == 0) utf8 += "\xF0\x9F\x92\xA9\xA9\xC3\xA9x";
        const auto exact = std::make_unique<char[]>(static_cast<size_t>(utf8.size()));
        std::memcpy(exact.get(), utf8.constData(), static_cast<size_t>(utf8.size()));
        const std::string_view text(exact.get(), static_cast<size_t>(utf8.size()));
        for (const Format format : {Format::Tsv, Format::Csv, Format::Json}) {
            ASSERT_EQ(escaped(QLatin1StringView(bytes), format), reference(latin1, format)) << bytes.toHex().toStdString();
            ASSERT_EQ(escaped(QStringView(wide), format), reference(wide, format)) << wide.toUtf8().toHex().toStdString();
            const auto room = std::make_unique<char[]>(escapedUtf8Room(text));
            const char* end = putEscapedUtf8(room.get(), text, format);
            ASSERT_EQ(std::string(static_cast<const char*>(room.get()), end), reference(fromFileNameBytes(utf8), format)) << utf8.toHex().toStdString();
        }
    }
}

TEST(CliOutput, AStreamingListCountsWhatItHandedOnAndKeepsNothing) {
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    ByteOutput out(file.handle());
    Printer printer(out, Format::Tsv);
    ResultList list;
    list.addColumn("URL", 100);
    list.streamTo(&printer);
    printer.begin("a2", list);
    for (int i = 0; i < 10000; ++i) list.addRow(QStringLiteral("http://example.com/%1").arg(i));
    EXPECT_EQ(list.rowCount(), 10000);
    EXPECT_EQ(list.textBytes(), 0u);
    list.clearRows();
    EXPECT_EQ(list.rowCount(), 0);
}

}  // namespace
}  // namespace kestrova::cli
