// Every test runs in one fixed zone and locale, so date texts are the same on every machine, and
// every program a test starts reads a settings file of the test run's own (never the build tree's
// kr.ini, where a window run by hand may have left its last choice).
#include <QCoreApplication>
#include <QLocale>
#include <QTemporaryDir>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    setenv("TZ", "UTC", 1);
    tzset();
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QCoreApplication app(argc, argv);
    const QTemporaryDir settings;
    qputenv("KESTROVA_SETTINGS", settings.filePath(QStringLiteral("kr.ini")).toLocal8Bit());
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
