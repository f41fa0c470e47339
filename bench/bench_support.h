// What the benchmarks share: a reader host that only reports faults, a desktop that ends no
// processes (a benchmark must not end the machine's browsers), and the heap in use.
#pragma once

#include <cstdio>
#include <malloc.h>

#include "core/frame/reader_host.h"
#include "platform/desktop/xdg_desktop.h"

namespace kestrova::bench {

class Host : public ReaderHost {
public:
    explicit Host(QString indexFile = QString()) : indexFile_(std::move(indexFile)) {}
    QString chooseIndexFile(const QString& proposed) override { return indexFile_.isEmpty() ? proposed : indexFile_; }
    void bug(const QString& text) override { std::fprintf(stderr, "bug: %s\n", qPrintable(text)); }

private:
    QString indexFile_;
};

class QuietDesktop : public XdgDesktop {
public:
    void terminateProcesses(const QString&) override {}
};

// Heap in use, including the large blocks malloc hands out through mmap.
inline size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

}  // namespace kestrova::bench
