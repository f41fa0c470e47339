// A session over a volume built at test time: the readers run exactly as the window runs them,
// against a fake desktop and a clock that stands still.
#pragma once

#include <gtest/gtest.h>

#include "core/app/session.h"
#include "support/fake_desktop.h"
#include "support/temp_volume.h"

namespace kestrova::test {

class RecordingHost : public ReaderHost {
public:
    void processEvents() override { ++events; }
    void diagnostic(const QString& text) override { diagnostics.append(text); }
    void bug(const QString& text) override { ADD_FAILURE() << "a reader hit a bug: " << text.toStdString(); }
    // The index.dat chooser answers indexFile when set, else takes the proposed default.
    QString chooseIndexFile(const QString& proposed) override { return indexFile.isNull() ? proposed : indexFile; }
    void showStopButton(bool shown) override { stopButton = shown; }
    QString indexFile;
    bool stopButton = false;
    int events = 0;
    QStringList diagnostics;
};

inline FixedClock utcClock() {
    return FixedClock(CalendarRecord{2026, 11, 6, 21, 12, 0, 0, 0}, CalendarRecord{2026, 11, 6, 21, 12, 0, 0, 0});
}

class ReaderFixture : public ::testing::Test {
protected:
    // Opens the volume as written so far; call after writing hives and files.
    Session& open() {
        system_ = volume_.open();
        os_ = std::make_unique<OsApi>(*system_, desktop_);
        session_ = std::make_unique<Session>(*os_, clock_, run_, host_);
        return *session_;
    }
    Session& session() { return *session_; }
    SourceContext reportContext(const QString& mode = QString()) { return session_->reportContext(mode); }
    QStringList rows() const {
        QStringList out;
        for (int r = 0; r < session_->list.rowCount(); ++r) out.append(session_->list.cell(r, 0));
        return out;
    }
    QStringList run(const char* key) {
        EXPECT_TRUE(session_->select(QLatin1String(key))) << key;
        return rows();
    }

    TempVolume volume_;
    FakeDesktop desktop_;
    FixedClock clock_ = utcClock();
    RecordingHost host_;
    RunControl run_;
    std::unique_ptr<VolumeSystem> system_;
    std::unique_ptr<OsApi> os_;
    std::unique_ptr<Session> session_;
};

}  // namespace kestrova::test
