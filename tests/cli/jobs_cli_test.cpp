// --jobs: traces and timeline write the same bytes, and --verbose says the same, whatever the
// number of workers: the kinds are read at once and a kind's browser profiles apart, but the
// output is written in one order. Checked on generated volumes of many browser profiles, a case
// of two hosts, a ZIP collection, and real images with their shadow copies.
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "browsers/trace_volume.h"
#include "collections/collection_writer.h"
#include "mksample/sample_system.h"
#include "support/cli_run.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

// Runs the command with one worker and with four: both outputs and exit codes alike.
void expectSameWithFourWorkers(const QStringList& args) {
    const CliRun one = runCli(args + QStringList{"--jobs", "1", "--verbose"});
    const CliRun four = runCli(args + QStringList{"--jobs", "4", "--verbose"});
    const std::string call = args.join(' ').toStdString();
    ASSERT_EQ(one.exitCode, 0) << call << "\n" << one.err.toStdString();
    EXPECT_EQ(four.exitCode, one.exitCode) << call;
    EXPECT_FALSE(one.out.isEmpty()) << call;
    EXPECT_TRUE(four.out == one.out) << call << ": the output differs with four workers";
    EXPECT_EQ(four.err.toStdString(), one.err.toStdString()) << call;
}

void expectEveryCommandAlike(const QStringList& source) {
    for (const QStringList& command : {QStringList{"traces"}, QStringList{"traces", "--format", "csv"}, QStringList{"traces", "--format", "json"},
                                       QStringList{"timeline"}, QStringList{"timeline", "--format", "body"}}) {
        expectSameWithFourWorkers(source + command);
    }
}

class Jobs : public ::testing::Test {
protected:
    void SetUp() override {
        QString why;
        ASSERT_TRUE(tools::writeSampleSystem(dir_.filePath("sample"), &why)) << why.toStdString();
        ASSERT_TRUE(tools::writeTraceVolume(dir_.filePath("profiles"), {}, nullptr, &why)) << why.toStdString();
    }
    QTemporaryDir dir_;
};

TEST_F(Jobs, AVolumeOfManyBrowserProfilesReadsAlike) {
    expectEveryCommandAlike({"--root", dir_.filePath("profiles")});
    expectEveryCommandAlike({"--root", dir_.filePath("sample")});
    // One user: the parts of a kind are that user's profiles only.
    expectSameWithFourWorkers({"--root", dir_.filePath("profiles"), "--user", "bob", "traces", "browser.history", "browser.cookies"});
    // A JSON array of no record at all, and TSV.
    expectSameWithFourWorkers({"--root", dir_.filePath("profiles"), "traces", "windows.prefetch", "windows.pca", "--format", "json"});
    expectSameWithFourWorkers({"--root", dir_.filePath("profiles"), "traces", "--format", "tsv"});
}

TEST_F(Jobs, ACaseOfTwoHostsAndACollectionReadAlike) {
    expectEveryCommandAlike({"--root", dir_.filePath("sample"), "--root", dir_.filePath("profiles")});
    QString why;
    ASSERT_TRUE(tools::writeCollection(dir_.filePath("profiles"), dir_.filePath("profiles.zip"), tools::CollectionLayoutKind::Velociraptor, &why))
        << why.toStdString();
    expectEveryCommandAlike({"--collection", dir_.filePath("profiles.zip")});
}

TEST(JobsOnImages, ARealImageAndItsShadowCopiesReadAlike) {
    REALDATA_OR_SKIP(vss, "vss/vsstest.qcow2");
    REALDATA_OR_SKIP(windows, "images/windows_volume.qcow2");
    expectEveryCommandAlike({"--image", vss, "--partition", "1", "--snapshots", "all"});
    expectEveryCommandAlike({"--image", windows, "--partition", "1"});
}

}  // namespace
}  // namespace kestrova
