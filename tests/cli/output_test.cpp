// kestrova-cli's printing: escapes that keep one record a line, and the JSON shape.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

#include "cli/output.h"

namespace kestrova::cli {
namespace {

ResultList sample() {
    ResultList list;
    list.addColumn("Start Menu Run History", 8000);
    list.addRow("a\tb\\c\nd" + QString(QChar(0)));
    list.addRow("x,\"y\"");
    list.setPanel1("Double Cilck to run");
    list.showCount();
    return list;
}

QString printed(Format format, int copies) {
    QString text;
    QTextStream out(&text);
    {
        Printer printer(out, format);
        const ResultList list = sample();
        for (int i = 0; i < copies; ++i) printer.category("b3", list);
    }
    out.flush();
    return text;
}

TEST(CliOutput, TsvEscapesTabNewlineBackslashAndNul) {
    EXPECT_EQ(printed(Format::Tsv, 1), "key\tb3\ncolumns\tStart Menu Run History\nrow\ta\\tb\\\\c\\nd\\0\nrow\tx,\"y\"\n"
                                       "panel1\tDouble Cilck to run\npanel2\tTotal Records: 2\n");
}

TEST(CliOutput, CsvQuotesWhereNeeded) {
    EXPECT_EQ(escapeCsv("x,\"y\""), "\"x,\"\"y\"\"\"");
    EXPECT_EQ(escapeCsv("plain"), "plain");
}

TEST(CliOutput, JsonHoldsOneObjectPerKeyAndEscapesControlCharacters) {
    QJsonParseError error;
    const QJsonArray all = QJsonDocument::fromJson(printed(Format::Json, 2).toUtf8(), &error).array();
    ASSERT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
    ASSERT_EQ(all.size(), 2);
    const QJsonObject first = all[0].toObject();
    EXPECT_EQ(first["key"].toString(), "b3");
    EXPECT_EQ(first["rows"].toArray().size(), 2);
    EXPECT_EQ(first["rows"].toArray()[0].toArray()[0].toString(), "a\tb\\c\nd" + QString(QChar(0)));
    EXPECT_EQ(first["rows"].toArray()[1].toArray()[0].toString(), "x,\"y\"");
    EXPECT_EQ(first["panel2"].toString(), "Total Records: 2");
    EXPECT_EQ(QJsonDocument::fromJson(printed(Format::Json, 0).toUtf8()).array().size(), 0);
}

}  // namespace
}  // namespace kestrova::cli
