// The zone the classic categories write local times in: this computer's, UTC, a named one or the
// examined system's from its SYSTEM hive; the machine's clock follows it at once.
#include <gtest/gtest.h>

#include "platform/clock/system_clock.h"
#include "platform/clock/time_zone.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

class TimeZones : public ::testing::Test {
protected:
    // Whatever a test put in force, the run goes on in the zone it started with.
    void TearDown() override {
        QString why;
        applyZone(*resolveZone("local", system_->registry(), &why));
    }
    void withSystemZone(const QString& keyName, uint32_t bias) {
        tools::HiveBuilder system = tools::sampleSystemHive();
        const QString key = "ControlSet001\\Control\\TimeZoneInformation";
        if (!keyName.isEmpty()) system.sz(key, "TimeZoneKeyName", keyName);
        system.dword(key, "Bias", bias);
        volume_.userHive(tools::sampleUserHive());
        volume_.systemHive(system);
        system_ = volume_.open();
    }
    test::TempVolume volume_;
    std::unique_ptr<VolumeSystem> system_ = volume_.open();
};

TEST_F(TimeZones, EachChoiceIsPutInForceForTheMachinesClock) {
    const SystemClock clock;
    QString why;
    const auto offsetIn = [&](const QString& choice) {
        const auto zone = resolveZone(choice, system_->registry(), &why);
        EXPECT_TRUE(zone) << why.toStdString();
        applyZone(*zone);
        return clock.currentUtcOffsetSeconds();
    };
    const int64_t berlin = offsetIn("Europe/Berlin");
    EXPECT_TRUE(berlin == 3600 || berlin == 7200) << berlin;
    EXPECT_TRUE(zoneInForce().startsWith("Europe/Berlin, UTC+0")) << zoneInForce().toStdString();
    EXPECT_EQ(offsetIn("UTC"), 0);  // within the same second too: the clock's records follow the zone
    EXPECT_EQ(offsetIn("Asia/Kolkata"), 19800);
    EXPECT_FALSE(resolveZone("Mars/Olympus", system_->registry(), &why));
    EXPECT_TRUE(why.contains("unknown time zone \"Mars/Olympus\"")) << why.toStdString();
}

TEST_F(TimeZones, TheExaminedSystemsZoneComesFromItsSystemHive) {
    QString why;
    EXPECT_FALSE(resolveZone("system", system_->registry(), &why)) << "the sample volume has no SYSTEM hive";
    EXPECT_TRUE(why.contains("no TimeZoneInformation")) << why.toStdString();

    withSystemZone("Tokyo Standard Time", static_cast<uint32_t>(-540));
    auto zone = resolveZone("system", system_->registry(), &why);
    ASSERT_TRUE(zone) << why.toStdString();
    EXPECT_EQ(zone->tz, ":Asia/Tokyo");
    EXPECT_EQ(windowsZoneName(system_->registry()), "Tokyo Standard Time");

    // A zone named in a way no table knows: its standard bias, without daylight saving.
    withSystemZone("", static_cast<uint32_t>(-330));
    zone = resolveZone("system", system_->registry(), &why);
    ASSERT_TRUE(zone) << why.toStdString();
    applyZone(*zone);
    EXPECT_EQ(SystemClock().currentUtcOffsetSeconds(), 19800);
}

}  // namespace
}  // namespace kestrova
