// A temporary Windows volume holding the sample user's profile folders and hive, and what a
// session over it needs. Each benchmark writes the files it measures into `dir`: the volume looks
// a file up only when a reader asks for it, so they may come after the volume is made.
#pragma once

#include <QTemporaryDir>

#include "bench_support.h"
#include "core/frame/run_control.h"
#include "core/settings/os_api.h"
#include "mksample/sample_system.h"
#include "platform/clock/system_clock.h"
#include "platform/system/volume_system.h"

namespace kestrova::bench {

class SampleProfileDir : public QTemporaryDir {
public:
    SampleProfileDir() {
        tools::makeProfileFolders(path(), tools::kSampleUser);
        tools::sampleUserHive().write(filePath(QStringLiteral("Users/%1/NTUSER.DAT").arg(tools::kSampleUser)));
    }
};

struct SampleVolume {
    SampleProfileDir dir;
    VolumeSystem system{dir.path(), tools::kSampleUser};
    QuietDesktop desktop;
    SystemClock clock;
    const OsApi os{system, desktop};
    Host host;
    RunControl run;
};

}  // namespace kestrova::bench
