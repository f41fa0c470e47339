// The machine's profile from its hives: what Windows it is (windows.system), its local accounts
// (windows.accounts.local), the programs installed (windows.programs) and what starts by itself
// (windows.autoruns). The machine hives are read in the process, as the other machine kinds read
// them (hivex, bounded by the hive layer); every user's hive for the per-user lists.
//
// SAM (RegRipper's samparse and the field's SAM notes; checked with hivexsh on the shared SAM):
//   Domains\Account\Users\<RID, 8 hex digits>  F: 8 last logon, 24 password last set, 32 account
//     expires, 40 last failed logon (FILETIMEs), 48 RID (4), 56 account control bits (2), 64 failed
//     logons (2), 66 logons (2); V: a table of 0xCC bytes of (offset, length) pairs, texts after it:
//     name at 0x0C, full name at 0x18, comment at 0x24 (offsets from 0xCC, UTF-16)
//   Domains\Account\Users\Names\<name>  its default value's type is the RID; its last write is when
//     the account was made
//   Domains\Account  V: the machine's SID in its last 12 bytes (three sub-authorities of S-1-5-21)
#include "core/common/byte_view.h"
#include "traces/system/system_fields.h"
#include "traces/system/system_sources.h"
#include "traces/windows/registry_walk.h"

namespace kestrova {
namespace {

constexpr const char* kSamHive = "C:\\Windows\\System32\\config\\SAM";
constexpr const char* kCurrentVersion = "Microsoft\\Windows NT\\CurrentVersion";

std::shared_ptr<HiveFile> machineHive(TraceContext& context, const QString& path) {
    return context.exists(path) ? context.hive(path) : nullptr;
}

std::optional<UtcMicros> writtenTime(const HiveFile& hive, HiveFile::Node node) { return keyTime(hive, node); }

QString dwordText(const HiveFile& hive, HiveFile::Node node, const QString& name) {
    const auto v = hive.value(node, name);
    if (!v || v->bytes.size() < 4) return QString();
    return QString::number(ByteView(v->bytes).u32(0));
}

std::optional<uint32_t> dwordAt(const HiveFile& hive, HiveFile::Node node, const QString& name) {
    const auto v = hive.value(node, name);
    if (!v || v->bytes.size() < 4) return std::nullopt;
    return ByteView(v->bytes).u32(0);
}

}  // namespace

// -- windows.system ----------------------------------------------------------------------------

void windowsSystem(TraceContext& context, TraceSink& sink) {
    namespace f = systemfields::system;
    const auto software = machineHive(context, kSoftwareHive);
    const auto system = machineHive(context, kSystemHive);
    if (!software && !system) return;
    OwnedRecord<f::Count> r;
    QString source;
    if (software) {
        source = kSoftwareHive;
        if (const auto cv = keyAt(*software, QLatin1String(kCurrentVersion))) {
            r.text(f::ProductName, textAt(*software, *cv, QStringLiteral("ProductName")));
            r.text(f::Edition, textAt(*software, *cv, QStringLiteral("EditionID")));
            QString version = textAt(*software, *cv, QStringLiteral("DisplayVersion"));
            if (version.isEmpty()) version = textAt(*software, *cv, QStringLiteral("ReleaseId"));
            if (version.isEmpty()) version = textAt(*software, *cv, QStringLiteral("CurrentVersion"));
            r.text(f::Version, version);
            QString build = textAt(*software, *cv, QStringLiteral("CurrentBuild"));
            if (const QString ubr = dwordText(*software, *cv, QStringLiteral("UBR")); !ubr.isEmpty() && !build.isEmpty()) build += QLatin1Char('.') + ubr;
            r.text(f::Build, build);
            r.text(f::RegisteredOwner, textAt(*software, *cv, QStringLiteral("RegisteredOwner")));
            r.text(f::RegisteredOrganization, textAt(*software, *cv, QStringLiteral("RegisteredOrganization")));
            r.text(f::SystemRoot, textAt(*software, *cv, QStringLiteral("SystemRoot")));
            // InstallTime (FILETIME, Windows 10 and later) is exact; InstallDate is seconds since 1970.
            const auto installTime = software->value(*cv, QStringLiteral("InstallTime"));
            if (installTime && installTime->bytes.size() >= 8) r.time(f::InstallDate, utc::fromFileTime(ByteView(installTime->bytes).u64(0)));
            else if (const auto date = dwordAt(*software, *cv, QStringLiteral("InstallDate")); date && *date) r.time(f::InstallDate, int64_t{*date} * 1000000);
        }
    }
    if (system) {
        if (source.isEmpty()) source = kSystemHive;
        const QString ccs = currentControlSet(*system);
        r.text(f::ControlSet, ccs);
        if (!ccs.isEmpty()) {
            if (const auto name = keyAt(*system, ccs + QStringLiteral("\\Control\\ComputerName\\ComputerName"))) {
                r.text(f::ComputerName, textAt(*system, *name, QStringLiteral("ComputerName")));
            }
            if (const auto windows = keyAt(*system, ccs + QStringLiteral("\\Control\\Windows"))) {
                const auto shutdown = system->value(*windows, QStringLiteral("ShutdownTime"));
                if (shutdown && shutdown->bytes.size() >= 8) r.time(f::LastShutdown, utc::fromFileTime(ByteView(shutdown->bytes).u64(0)));
            }
            if (const auto tz = keyAt(*system, ccs + QStringLiteral("\\Control\\TimeZoneInformation"))) {
                QString zone = textAt(*system, *tz, QStringLiteral("TimeZoneKeyName"));
                if (zone.isEmpty()) zone = textAt(*system, *tz, QStringLiteral("StandardName"));
                const int bias = -activeTimeBias(*system, ccs);
                zone += QStringLiteral("%1UTC%2%3:%4")
                            .arg(zone.isEmpty() ? QString() : QStringLiteral(", "))
                            .arg(bias < 0 ? QLatin1Char('-') : QLatin1Char('+'))
                            .arg(std::abs(bias) / 60, 2, 10, QLatin1Char('0'))
                            .arg(std::abs(bias) % 60, 2, 10, QLatin1Char('0'));
                r.text(f::TimeZone, zone);
            }
        }
    }
    context.deliver(sink, Provenance{{}, {}, {}, source.toUtf8(), {}}, r.values());
}

// -- windows.accounts.local --------------------------------------------------------------------

namespace {

QString controlBits(uint16_t bits) {
    static const std::pair<uint16_t, const char*> kBits[] = {
        {0x0001, "disabled"},          {0x0002, "home folder required"}, {0x0004, "password not required"},
        {0x0008, "temporary duplicate"}, {0x0010, "normal"},             {0x0020, "MNS logon"},
        {0x0040, "domain trust"},      {0x0080, "workstation trust"},    {0x0100, "server trust"},
        {0x0200, "password never expires"}, {0x0400, "locked out"},      {0x0800, "password expired"},
    };
    QStringList names;
    for (const auto& [bit, name] : kBits) {
        if (bits & bit) names << QLatin1String(name);
    }
    return names.join(QStringLiteral(", "));
}

// A text of V's table: the (offset, length) pair at `entry`.
QString vText(const ByteView& v, size_t entry) {
    const size_t offset = v.u32(entry) + 0xCC, length = v.u32(entry + 4);
    if (length == 0 || !v.has(offset, length)) return QString();
    return v.utf16(offset, length / 2);
}

std::optional<UtcMicros> samTime(const ByteView& f, size_t at) {
    const uint64_t t = f.u64(at);
    // 0 is never; 0x7FFFFFFFFFFFFFFF is "never expires".
    if (t == 0 || t >= 0x7FFFFFFFFFFFFFFFull) return std::nullopt;
    return utc::fromFileTime(t);
}

}  // namespace

void windowsLocalAccounts(TraceContext& context, TraceSink& sink) {
    namespace f = systemfields::accounts;
    const auto sam = machineHive(context, QLatin1String(kSamHive));
    if (!sam) return;
    const auto users = keyAt(*sam, QStringLiteral("SAM\\Domains\\Account\\Users"));
    if (!users) {
        context.note(FindingKind::SchemaDiffers, QStringLiteral("SAM hive ") + QLatin1String(kSamHive), QStringLiteral("no SAM\\Domains\\Account\\Users"));
        return;
    }
    // The machine's SID: the last three sub-authorities of Domains\Account's V.
    QString machineSid;
    if (const auto account = keyAt(*sam, QStringLiteral("SAM\\Domains\\Account"))) {
        const auto v = sam->value(*account, QStringLiteral("V"));
        if (v && v->bytes.size() >= 12) {
            const ByteView b(v->bytes);
            const size_t at = b.size() - 12;
            machineSid = QStringLiteral("S-1-5-21-%1-%2-%3").arg(b.u32(at)).arg(b.u32(at + 4)).arg(b.u32(at + 8));
        }
    }
    // The account names by RID, and when each was made.
    std::map<uint32_t, std::pair<QString, std::optional<UtcMicros>>> names;
    if (const auto namesKey = sam->child(*users, QStringLiteral("Names"))) {
        for (const HiveFile::Named& n : sam->children(*namesKey)) {
            const auto v = sam->value(n.node, QString());
            if (v) names[v->type] = {n.name, writtenTime(*sam, n.node)};
        }
    }
    const auto software = machineHive(context, kSoftwareHive);
    for (const HiveFile::Named& user : sam->children(*users)) {
        if (user.name.compare(QLatin1String("Names"), Qt::CaseInsensitive) == 0) continue;
        bool hex = false;
        const uint32_t rid = user.name.toUInt(&hex, 16);
        if (!hex) continue;
        const auto fValue = sam->value(user.node, QStringLiteral("F"));
        const auto vValue = sam->value(user.node, QStringLiteral("V"));
        OwnedRecord<f::Count> r;
        r.integer(f::Rid, rid);
        const QString sid = machineSid.isEmpty() ? QString() : machineSid + QLatin1Char('-') + QString::number(rid);
        r.text(f::Sid, sid);
        if (vValue) {
            const ByteView v(vValue->bytes);
            r.text(f::Name, vText(v, 0x0C));
            r.text(f::FullName, vText(v, 0x18));
            r.text(f::Comment, vText(v, 0x24));
        }
        if (const auto named = names.find(rid); named != names.end()) {
            if (!r.has(f::Name)) r.text(f::Name, named->second.first);
            r.time(f::Created, named->second.second);
        }
        if (fValue && fValue->bytes.size() >= 68) {
            const ByteView fb(fValue->bytes);
            r.time(f::LastLogon, samTime(fb, 8));
            r.time(f::PasswordSet, samTime(fb, 24));
            r.time(f::AccountExpires, samTime(fb, 32));
            r.time(f::LastFailedLogon, samTime(fb, 40));
            const uint16_t bits = fb.u16(56);
            r.boolean(f::Disabled, bits & 0x0001);
            r.boolean(f::Locked, bits & 0x0400);
            r.text(f::Flags, controlBits(bits));
            r.integer(f::FailedCount, fb.u16(64));
            r.integer(f::LogonCount, fb.u16(66));
        } else {
            context.note(FindingKind::Damaged, QStringLiteral("SAM account ") + user.name,
                         QStringLiteral("its F value is missing or shorter than 68 bytes: its times and counts are not known"));
        }
        if (software && !sid.isEmpty()) {
            if (const auto profile = keyAt(*software, QStringLiteral("Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\") + sid)) {
                r.text(f::ProfileFolder, textAt(*software, *profile, QStringLiteral("ProfileImagePath")));
            }
        }
        if (!context.deliver(sink, Provenance{{}, {}, {}, QByteArray(kSamHive), (QStringLiteral("SAM\\Domains\\Account\\Users\\") + user.name).toUtf8()}, r.values())) return;
    }
}

// -- windows.programs --------------------------------------------------------------------------

namespace {

std::optional<UtcMicros> installDay(const QString& text) {
    // "20220310"
    if (text.size() != 8) return std::nullopt;
    bool ok = false;
    const int year = text.left(4).toInt(&ok), month = text.mid(4, 2).toInt(), day = text.mid(6, 2).toInt();
    if (!ok || year < 1980 || month < 1 || month > 12 || day < 1 || day > 31) return std::nullopt;
    return daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * 86400LL * 1000000;
}

bool programsUnder(TraceContext& context, TraceSink& sink, const HiveFile& hive, const QString& keyPath, const QString& scope, const Provenance& base) {
    namespace f = systemfields::programs;
    const auto uninstall = keyAt(hive, keyPath);
    if (!uninstall) return true;
    for (const HiveFile::Named& entry : hive.children(*uninstall)) {
        OwnedRecord<f::Count> r;
        QString name = textAt(hive, entry.node, QStringLiteral("DisplayName"));
        // Updates and components without a name are not programs a user installed.
        if (name.isEmpty()) continue;
        r.text(f::Name, name);
        r.text(f::Version, textAt(hive, entry.node, QStringLiteral("DisplayVersion")));
        r.text(f::Publisher, textAt(hive, entry.node, QStringLiteral("Publisher")));
        r.time(f::InstallDate, installDay(textAt(hive, entry.node, QStringLiteral("InstallDate"))));
        r.text(f::InstallLocation, textAt(hive, entry.node, QStringLiteral("InstallLocation")));
        r.text(f::UninstallCommand, textAt(hive, entry.node, QStringLiteral("UninstallString")));
        r.text(f::Scope, scope);
        r.text(f::KeyName, entry.name);
        r.time(f::KeyWritten, keyTime(hive, entry.node));
        Provenance from = base;
        from.part = (keyPath + QLatin1Char('\\') + entry.name).toUtf8();
        if (!context.deliver(sink, from, r.values())) return false;
    }
    return true;
}

}  // namespace

void windowsPrograms(TraceContext& context, TraceSink& sink) {
    const QString uninstall = QStringLiteral("Microsoft\\Windows\\CurrentVersion\\Uninstall");
    if (const auto software = machineHive(context, kSoftwareHive)) {
        const Provenance from{{}, {}, {}, kSoftwareHive.toUtf8(), {}};
        if (!programsUnder(context, sink, *software, uninstall, QStringLiteral("machine"), from)) return;
        if (!programsUnder(context, sink, *software, QStringLiteral("Wow6432Node\\") + uninstall, QStringLiteral("machine (32-bit)"), from)) return;
    }
    for (const UserHive& h : userHives(context, UserHiveKind::NtUser)) {
        if (!programsUnder(context, sink, *h.hive, QStringLiteral("Software\\") + uninstall, QStringLiteral("user"), userProvenance(*h.user, h.path, QString()))) return;
    }
}

// -- windows.autoruns --------------------------------------------------------------------------

namespace {

struct Autoruns {
    TraceContext& context;
    TraceSink& sink;

    bool add(const Provenance& from, const QString& name, const QString& command, const QString& kind, const QString& location,
             std::optional<UtcMicros> written, const QString& start = QString(), const QString& account = QString(), const QString& description = QString()) {
        namespace f = systemfields::autoruns;
        OwnedRecord<f::Count> r;
        r.text(f::Name, name);
        r.text(f::Command, command);
        r.text(f::Kind, kind);
        r.text(f::Location, location);
        r.text(f::Start, start);
        r.text(f::Account, account);
        r.text(f::Description, description);
        r.time(f::Written, written);
        Provenance p = from;
        p.part = location.toUtf8();
        return context.deliver(sink, p, r.values());
    }
    // Every value of a Run-like key.
    bool runKey(const HiveFile& hive, const QString& path, const QString& root, const QString& kind, const Provenance& from) {
        const auto key = keyAt(hive, path);
        if (!key) return true;
        for (const HiveFile::NamedValue& v : hive.values(*key)) {
            if (!add(from, v.name, valueText(v.data), kind, root + QLatin1Char('\\') + path, keyTime(hive, *key))) return false;
        }
        return true;
    }
    // Every file of a Startup folder.
    bool startupFolder(const QString& folder, const Provenance& from) {
        for (const DirEntry& e : context.system().listFolder(folder)) {
            if (e.isDotEntry() || (e.attributes & 0x10) || e.name.compare(QLatin1String("desktop.ini"), Qt::CaseInsensitive) == 0) continue;
            const QString path = folder + QLatin1Char('\\') + e.name;
            const auto times = context.fileTimes(path);
            Provenance p = from;
            p.source = path.toUtf8();
            if (!add(p, e.name, path, QStringLiteral("Startup folder"), folder, times ? utc::fromFileTime(times->modified) : std::nullopt)) return false;
        }
        return true;
    }
};

QString startType(std::optional<uint32_t> start) {
    if (!start) return QString();
    switch (*start) {
    case 0: return QStringLiteral("boot");
    case 1: return QStringLiteral("system");
    case 2: return QStringLiteral("automatic");
    case 3: return QStringLiteral("demand");
    case 4: return QStringLiteral("disabled");
    default: return QString::number(*start);
    }
}

}  // namespace

void windowsAutoruns(TraceContext& context, TraceSink& sink) {
    Autoruns out{context, sink};
    const QStringList runKeys{QStringLiteral("Microsoft\\Windows\\CurrentVersion\\Run"), QStringLiteral("Microsoft\\Windows\\CurrentVersion\\RunOnce"),
                              QStringLiteral("Microsoft\\Windows\\CurrentVersion\\Policies\\Explorer\\Run"),
                              QStringLiteral("Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Run"),
                              QStringLiteral("Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\RunOnce")};
    const auto kindOf = [](const QString& path) { return path.endsWith(QLatin1String("RunOnce")) ? QStringLiteral("RunOnce") : QStringLiteral("Run"); };
    if (const auto software = machineHive(context, kSoftwareHive)) {
        const Provenance from{{}, {}, {}, kSoftwareHive.toUtf8(), {}};
        for (const QString& key : runKeys) {
            if (!out.runKey(*software, key, QStringLiteral("HKLM\\SOFTWARE"), kindOf(key), from)) return;
        }
        if (const auto winlogon = keyAt(*software, QLatin1String(kCurrentVersion) + QStringLiteral("\\Winlogon"))) {
            for (const char* name : {"Shell", "Userinit", "Taskman", "AppSetup"}) {
                const QString command = textAt(*software, *winlogon, QLatin1String(name));
                if (command.isEmpty()) continue;
                if (!out.add(from, QLatin1String(name), command, QStringLiteral("Winlogon"),
                             QStringLiteral("HKLM\\SOFTWARE\\") + QLatin1String(kCurrentVersion) + QStringLiteral("\\Winlogon"), keyTime(*software, *winlogon))) {
                    return;
                }
            }
        }
    }
    for (const UserHive& h : userHives(context, UserHiveKind::NtUser)) {
        const Provenance from = userProvenance(*h.user, h.path, QString());
        for (const QString& key : runKeys) {
            if (key.startsWith(QLatin1String("Wow6432Node"))) continue;
            if (!out.runKey(*h.hive, QStringLiteral("Software\\") + key, QStringLiteral("HKCU"), kindOf(key), from)) return;
        }
        if (!out.startupFolder(h.user->roaming + QStringLiteral("\\Microsoft\\Windows\\Start Menu\\Programs\\Startup"), from)) return;
    }
    if (!out.startupFolder(QStringLiteral("C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\StartUp"), Provenance{})) return;
    const auto system = machineHive(context, kSystemHive);
    if (!system) return;
    const QString ccs = currentControlSet(*system);
    const auto services = ccs.isEmpty() ? std::nullopt : keyAt(*system, ccs + QStringLiteral("\\Services"));
    if (!services) return;
    const Provenance from{{}, {}, {}, kSystemHive.toUtf8(), {}};
    for (const HiveFile::Named& service : system->children(*services)) {
        const QString image = textAt(*system, service.node, QStringLiteral("ImagePath"));
        if (image.isEmpty()) continue;  // a service group or a driver's settings without an image
        const auto type = dwordAt(*system, service.node, QStringLiteral("Type"));
        // Types 1 and 2 are kernel and file-system drivers; 0x10 and 0x20 services of their own or shared.
        const QString kind = type && (*type & 0x3) ? QStringLiteral("driver") : QStringLiteral("service");
        if (!out.add(from, service.name, image, kind, QStringLiteral("HKLM\\SYSTEM\\") + ccs + QStringLiteral("\\Services\\") + service.name,
                     keyTime(*system, service.node), startType(dwordAt(*system, service.node, QStringLiteral("Start"))),
                     textAt(*system, service.node, QStringLiteral("ObjectName")), textAt(*system, service.node, QStringLiteral("DisplayName")))) {
            return;
        }
    }
}

}  // namespace kestrova
