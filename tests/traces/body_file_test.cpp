// The window's body file gives back every record as it was appended, by its offset and in a scan
// on several threads, whether the bytes went to the file or (no file can be made) stayed in memory.
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <mutex>

#include "traces/body_file.h"
#include "traces/record_body.h"

namespace kestrova {
namespace {

std::string textOf(uint32_t record) { return std::string(200 + record % 700, static_cast<char>('a' + record % 26)) + std::to_string(record); }

void expectEveryRecordBack(const QString& folder) {
    BodyFile file(folder);
    constexpr uint32_t kRecords = 40000;  // about 22 MB: several slices, several buffers written
    std::vector<uint64_t> offsets;
    for (uint32_t r = 0; r < kRecords; ++r) {
        const std::string text = textOf(r);
        Provenance from;
        from.source = QByteArray::fromStdString(text);
        const Value values[] = {Value::integer(r)};
        offsets.push_back(file.append(r * 2, from, values));  // record numbers with gaps, as a store's are
    }
    file.finish();
    std::string buffer;
    for (const uint32_t r : {0u, 1u, 12345u, kRecords - 1}) {
        std::string expected;
        Provenance from;
        from.source = QByteArray::fromStdString(textOf(r));
        const Value values[] = {Value::integer(r)};
        appendRecordBody(expected, from, values);
        EXPECT_EQ(file.read(offsets[r], buffer), expected) << r;
    }
    std::mutex mutex;
    std::vector<int> seen(kRecords * 2, 0);
    file.scan(4, [&](uint32_t record, std::string_view body) {
        const std::lock_guard lock(mutex);
        ASSERT_LT(record, seen.size());
        ++seen[record];
        EXPECT_NE(body.find(textOf(record / 2)), std::string_view::npos) << record;
    });
    for (uint32_t r = 0; r < kRecords * 2; ++r) ASSERT_EQ(seen[r], r % 2 == 0 ? 1 : 0) << r;
}

TEST(BodyFile, EveryRecordComesBackByItsOffsetAndInAScan) {
    QTemporaryDir folder;
    expectEveryRecordBack(folder.path());
    expectEveryRecordBack(QStringLiteral("/nonexistent/kestrova-bodies"));  // kept in memory
}

}  // namespace
}  // namespace kestrova
