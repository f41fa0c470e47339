// One examining session: the list, the state kept between readers and the conversions, bound to
// an analysed system and a front end. Selecting a key runs its reader, as a click in the tree does.
#pragma once

#include "core/app/catalogue.h"
#include "core/common/runtime_error.h"

namespace kestrova {

class Session {
public:
    Session(const OsApi& os, const Clock& clock, ReaderHost& host)
        : os_(os), stamps_(clock), covert_(stamps_), host_(host) {
        state.windowsVersionTag = os.WindowsVersionTag();
    }

    ReaderContext context() { return ReaderContext{list, state, os_, stamps_, covert_, host_}; }
    // Runs the reader bound to the key; false when the key runs nothing (groups, unknown keys),
    // in which case list and panels stay as they were.
    bool select(const QString& key) {
        const Category* category = findCategory(key);
        if (!category || !category->reader) return false;
        run(*category);
        return true;
    }
    // Runs one category's reader. A run-time error that a reader lets through ends that reader
    // where it stands: the rows it added stay, the list is shown again, and the program goes on.
    void run(const Category& category) {
        ReaderContext ctx = context();
        try {
            category.reader(ctx, category);
        } catch (const std::exception& error) {
            host_.diagnostic(QStringLiteral("%1: ended early: %2")
                                 .arg(QLatin1String(category.key), QString::fromLocal8Bit(error.what())));
            list.setVisible(true);
        }
    }
    const OsApi& os() const { return os_; }

    ResultList list;
    AppState state;

private:
    const OsApi& os_;
    ModTimeStamp stamps_;
    ModCovert covert_;
    ReaderHost& host_;
};

}  // namespace kestrova
