#include "platform/clock/time_zone.h"

#include <QTimeZone>
#include <atomic>
#include <cstdlib>
#include <ctime>

#include "core/registry/reg_api.h"

namespace kestrova {
namespace {

const QString kZoneKey = QStringLiteral("SYSTEM\\CurrentControlSet\\Control\\TimeZoneInformation");

// TZ as the program found it, read once before the first change.
const std::optional<QByteArray>& startingTz() {
    static const std::optional<QByteArray> tz = [] {
        const char* value = std::getenv("TZ");
        return value ? std::optional<QByteArray>(value) : std::nullopt;
    }();
    return tz;
}

// A fixed offset in POSIX form, which counts the other way round: local = UTC - offset, the sign
// Windows' Bias has too ("<+0130>-1:30" is UTC+01:30).
QByteArray posixFixed(int biasMinutes) {
    const int east = -biasMinutes;
    const char sign = east < 0 ? '-' : '+';
    const int h = std::abs(east) / 60, m = std::abs(east) % 60;
    return QStringLiteral("<%1%2%3>%4%5:%6")
        .arg(QLatin1Char(sign))
        .arg(h, 2, 10, QLatin1Char('0'))
        .arg(m, 2, 10, QLatin1Char('0'))
        .arg(QLatin1Char(biasMinutes < 0 ? '-' : '+'))
        .arg(std::abs(biasMinutes) / 60)
        .arg(std::abs(biasMinutes) % 60, 2, 10, QLatin1Char('0'))
        .toLatin1();
}

std::optional<ZoneChoice> systemZone(const RegistryBackend& registry, QString* why) {
    const QString windows = windowsZoneName(registry);
    if (!windows.isEmpty()) {
        const QByteArray iana = QTimeZone::windowsIdToDefaultIanaId(windows.toUtf8());
        if (!iana.isEmpty() && QTimeZone(iana).isValid()) {
            return ZoneChoice{":" + iana, QStringLiteral("%1 (the examined system's \"%2\")").arg(QString::fromLatin1(iana), windows),
                              QTimeZone(iana)};
        }
    }
    // A zone Windows names in another way (a localised StandardName): its bias, without the
    // daylight rule, is still better than this machine's zone.
    if (auto key = registry.openKey(RootKey::LocalMachine, kZoneKey)) {
        if (const auto bias = dwordValue(*key, QStringLiteral("Bias"))) {
            const auto minutes = static_cast<int32_t>(*bias);
            if (minutes > -24 * 60 && minutes < 24 * 60) {
                return ZoneChoice{posixFixed(minutes),
                                  QStringLiteral("the examined system's standard offset (Bias %1 minutes%2)")
                                      .arg(minutes)
                                      .arg(windows.isEmpty() ? QString() : QStringLiteral(", \"%1\"").arg(windows)),
                                  QTimeZone(-minutes * 60)};
            }
        }
        *why = QStringLiteral("the examined system's SYSTEM hive names no zone this program knows");
        return std::nullopt;
    }
    *why = QStringLiteral("the examined system's SYSTEM hive has no TimeZoneInformation (missing or unreadable)");
    return std::nullopt;
}

}  // namespace

QString windowsZoneName(const RegistryBackend& registry) {
    const auto key = registry.openKey(RootKey::LocalMachine, kZoneKey);
    if (!key) return QString();
    for (const char* name : {"TimeZoneKeyName", "StandardName"}) {
        // Strings of fixed-size fields end at their first NUL; the rest is padding.
        const QString value = stringValue(*key, QLatin1String(name)).value_or(QString()).section(QChar(0), 0, 0).trimmed();
        if (!value.isEmpty() && !value.startsWith(QLatin1Char('@'))) return value;
    }
    return QString();
}

std::optional<ZoneChoice> resolveZone(const QString& choice, const RegistryBackend& registry, QString* why) {
    startingTz();
    if (choice.isEmpty() || choice.compare(QLatin1String("local"), Qt::CaseInsensitive) == 0) {
        return ZoneChoice{{}, QStringLiteral("this computer's zone (%1)").arg(QString::fromLatin1(QTimeZone::systemTimeZoneId())),
                          QTimeZone::systemTimeZone()};
    }
    if (choice.compare(QLatin1String("UTC"), Qt::CaseInsensitive) == 0) return ZoneChoice{"UTC0", QStringLiteral("UTC"), QTimeZone::utc()};
    if (choice.compare(QLatin1String("system"), Qt::CaseInsensitive) == 0) return systemZone(registry, why);
    const QByteArray iana = choice.toUtf8();
    if (QTimeZone(iana).isValid()) return ZoneChoice{":" + iana, choice, QTimeZone(iana)};
    *why = QStringLiteral("unknown time zone \"%1\": use local, UTC, system or a name such as Europe/Berlin").arg(choice);
    return std::nullopt;
}

namespace {
std::atomic<unsigned> generation{0};
}  // namespace

unsigned zoneGeneration() { return generation.load(std::memory_order_relaxed); }

void applyZone(const ZoneChoice& zone) {
    const std::optional<QByteArray>& start = startingTz();
    if (!zone.tz.isEmpty()) {
        ::setenv("TZ", zone.tz.constData(), 1);
    } else if (start) {
        ::setenv("TZ", start->constData(), 1);
    } else {
        ::unsetenv("TZ");
    }
    ::tzset();
    generation.fetch_add(1, std::memory_order_relaxed);
}

QString zoneInForce() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    const long east = local.tm_gmtoff;
    const char* tz = std::getenv("TZ");
    QString name = tz && *tz ? QString::fromLocal8Bit(tz[0] == ':' ? tz + 1 : tz) : QString::fromLatin1(QTimeZone::systemTimeZoneId());
    if (name == QLatin1String("UTC0")) name = QStringLiteral("UTC");
    return QStringLiteral("%1, UTC%2%3:%4")
        .arg(name)
        .arg(QLatin1Char(east < 0 ? '-' : '+'))
        .arg(std::labs(east) / 3600, 2, 10, QLatin1Char('0'))
        .arg(std::labs(east) / 60 % 60, 2, 10, QLatin1Char('0'));
}

}  // namespace kestrova
