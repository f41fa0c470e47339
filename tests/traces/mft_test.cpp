// The MFT: NIST's real $MFT of 154 entries (117 in use, 37 never written) with paths rebuilt
// through the parent references, both names of an entry that has two; a file that is no MFT is said.
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "support/temp_volume.h"
#include "support/trace_collector.h"

namespace kestrova {
namespace {

using test::TraceRecord;

test::KindRead readMft(const QByteArray& bytes) {
    test::TempVolume volume;
    volume.file("$MFT", bytes);
    return test::readKind(*volume.open(), "file.mft");
}

const TraceRecord* entry(const std::vector<TraceRecord>& records, int number) {
    for (const TraceRecord& r : records) {
        if (r["entry"] == QString::number(number)) return &r;
    }
    return nullptr;
}

TEST(Mft, EveryEntryOfARealMftWithItsPathAndTimes) {
    REALDATA_OR_SKIP(path, "filesystem/nist-dfr-16/$MFT");
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray bytes = f.readAll();
    const test::KindRead read = readMft(bytes);
    ASSERT_EQ(read.records.size(), 117u) << read.findings.join("\n").toStdString();
    EXPECT_TRUE(read.findings.isEmpty()) << read.findings.join("\n").toStdString();
    EXPECT_TRUE(std::all_of(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return r["in_use"] == "1"; }));
    EXPECT_TRUE(std::none_of(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return r["path"].contains("$OrphanFiles"); }));
    EXPECT_EQ((*entry(read.records, 5))["path"], "C:\\");
    EXPECT_EQ((*entry(read.records, 0))["path"], "C:\\$MFT");
    const TraceRecord* deep = entry(read.records, 99);
    ASSERT_NE(deep, nullptr);
    EXPECT_EQ((*deep)["path"], "C:\\Y08\\Y08L01\\Y08L02\\Y08L03\\Y08L04\\Y08L05\\Y08L06\\Y08L07");
    EXPECT_EQ((*deep)["folder"], "1");
    EXPECT_EQ((*deep)["si_created"], "2012-02-06T16:15:30.601524+00:00");
    EXPECT_EQ((*deep)["fn_created"], "2012-02-06T16:15:30.601524+00:00");
    EXPECT_EQ((*deep)["si_before_fn"], "0");
    const TraceRecord* twoNames = entry(read.records, 33);
    ASSERT_NE(twoNames, nullptr);
    EXPECT_EQ((*twoNames)["names"], "$TxfLogContainer00000000000000000001, $TXFLO~1");
    EXPECT_TRUE((*twoNames)["path"].endsWith("\\$TxfLogContainer00000000000000000001"));
    EXPECT_EQ(std::count_if(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return r["path"].endsWith(".TXT"); }), 45);

    const test::KindRead garbage = readMft(QByteArray(8192, 'G'));
    EXPECT_TRUE(garbage.records.empty());
    EXPECT_EQ(garbage.findings.filter("$MFT: not an MFT libfsntfs reads").size(), 1) << garbage.findings.join("\n").toStdString();
}

}  // namespace
}  // namespace kestrova
