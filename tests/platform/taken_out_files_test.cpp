// A file taken out of an image or a ZIP is taken out once a run, however many threads ask for it
// at once, and each opening reads it whole from its own start.
#include <QTemporaryDir>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

#include "platform/volume/taken_out_files.h"

namespace kestrova {
namespace {

TEST(TakenOutFiles, ThreadsAskingAtOnceShareOneCopy) {
    QTemporaryDir temp;
    TakenOutFiles files(temp.path());
    const QByteArray content = QByteArray(1 << 20, 'k') + "end";
    std::atomic<int> copies{0};
    const auto copyInto = [&](int fd, QString*) {
        ++copies;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the others ask meanwhile
        return ::write(fd, content.constData(), static_cast<size_t>(content.size())) == content.size();
    };
    std::vector<QByteArray> read(4);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < read.size(); ++t) {
        threads.emplace_back([&, t] {
            const auto file = files.open(QStringLiteral("History"), nullptr, true, false, 42, static_cast<quint64>(content.size()), copyInto);
            if (file) read[t] = file->readAll();
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(copies.load(), 1);
    for (const QByteArray& r : read) EXPECT_TRUE(r == content);
    // A copy that fails is said, and the next asker tries again.
    Findings findings;
    EXPECT_EQ(files.open(QStringLiteral("Cookies"), &findings, true, false, 7, 10, [](int, QString* why) { return *why = QStringLiteral("read error"), false; }), nullptr);
    ASSERT_EQ(findings.all().size(), 1u);
    EXPECT_EQ(findings.all().front().why, QStringLiteral("read error"));
    EXPECT_NE(files.open(QStringLiteral("Cookies"), nullptr, true, false, 7, 3, [](int fd, QString*) { return ::write(fd, "abc", 3) == 3; }), nullptr);
}

}  // namespace
}  // namespace kestrova
