// Every test runs in one fixed zone and locale, so date texts are the same on every machine.
#include <QCoreApplication>
#include <QLocale>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    setenv("TZ", "UTC", 1);
    tzset();
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
