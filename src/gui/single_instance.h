// One Kestrova window per user: a lock file in the user's runtime folder. A second start finds
// it held and ends silently.
#pragma once

#include <QLockFile>
#include <QString>
#include <memory>

namespace kestrova {

class SingleInstance {
public:
    // The lock for this user, or for the given lock file (tests).
    explicit SingleInstance(const QString& lockPath = defaultLockPath());
    // True when no other instance holds the lock; the lock is then held until destruction.
    bool acquire();
    static QString defaultLockPath();

private:
    std::unique_ptr<QLockFile> lock_;
};

}  // namespace kestrova
