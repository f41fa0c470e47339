// kestrova-cli's printing: escapes that keep one record a line, and the JSON shape.
#include <QJsonDocument>
#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

#include "cli/output.h"

namespace kestrova::cli {
namespace {

CategoryOutput sample() {
    return {"b3", {"Start Menu Run History"}, {{"a\tb\\c\nd" + QString(QChar(0))}, {"x,\"y\""}}, "Double Cilck to run",
            "Total Records: 2"};
}

TEST(CliOutput, TsvEscapesTabNewlineBackslashAndNul) {
    QString text;
    QTextStream out(&text);
    print(out, Format::Tsv, {sample()});
    out.flush();
    EXPECT_EQ(text, "key\tb3\ncolumns\tStart Menu Run History\nrow\ta\\tb\\\\c\\nd\\0\nrow\tx,\"y\"\n"
                    "panel1\tDouble Cilck to run\npanel2\tTotal Records: 2\n");
}

TEST(CliOutput, CsvQuotesWhereNeeded) {
    EXPECT_EQ(escapeCsv("x,\"y\""), "\"x,\"\"y\"\"\"");
    EXPECT_EQ(escapeCsv("plain"), "plain");
}

TEST(CliOutput, JsonHoldsOneObjectPerKey) {
    QString text;
    QTextStream out(&text);
    print(out, Format::Json, {sample(), sample()});
    out.flush();
    const QJsonArray all = QJsonDocument::fromJson(text.toUtf8()).array();
    ASSERT_EQ(all.size(), 2);
    const QJsonObject first = all[0].toObject();
    EXPECT_EQ(first["key"].toString(), "b3");
    EXPECT_EQ(first["rows"].toArray().size(), 2);
    EXPECT_EQ(first["rows"].toArray()[1].toArray()[0].toString(), "x,\"y\"");
    EXPECT_EQ(first["panel2"].toString(), "Total Records: 2");
}

}  // namespace
}  // namespace kestrova::cli
