// Where the machine has been and what it reached: windows.network (interfaces and their DHCP
// leases, the networks it joined, WLAN profiles, shares, users' mapped drives), windows.rdp.client
// (the servers each user reached with Remote Desktop) and windows.mountpoints (the volumes, shares
// and letters Explorer mounted for each user, and what each letter last was).
//
// Layouts (RegRipper's networklist, nic2, tsclient and mp2 plugins; checked with hivexsh on the
// shared Windows 10 SYSTEM):
//   SYSTEM <ccs>\Services\Tcpip\Parameters\Interfaces\{GUID}   IPAddress / DhcpIPAddress,
//     DhcpServer, DhcpDomain / Domain, DhcpDefaultGateway (multi), LeaseObtainedTime and
//     LeaseTerminatesTime (seconds since 1970)
//   SOFTWARE Microsoft\Windows NT\CurrentVersion\NetworkList\Profiles\{GUID}   ProfileName,
//     Description, Category (0 public, 1 private, 2 domain), NameType (6 wired, 23 VPN, 71 wireless,
//     243 mobile broadband), DateCreated and DateLastConnected (SYSTEMTIME, local time);
//     ...\NetworkList\Signatures\{Managed,Unmanaged}\<signature>   ProfileGuid, DefaultGatewayMac
//   SYSTEM <ccs>\Services\LanmanServer\Shares   a value a share: "Path=C:\Data" among its lines
//   NTUSER Network\<letter>   RemotePath, UserName
//   NTUSER Software\Microsoft\Terminal Server Client\Default   MRU0.. ; \Servers\<server>   UsernameHint
//   NTUSER Software\Microsoft\Windows\CurrentVersion\Explorer\MountPoints2\<name>
//   SYSTEM MountedDevices   \DosDevices\X: and \??\Volume{GUID}: 12 bytes (disk signature, offset)
//     or 24 ("DMIO:ID:" and a GPT partition GUID), or a device path in UTF-16
#include <QTimeZone>
#include <QXmlStreamReader>
#include <map>
#include <set>

#include "core/common/byte_view.h"
#include "traces/system/system_fields.h"
#include "traces/system/system_sources.h"
#include "traces/windows/registry_walk.h"

namespace kestrova {
namespace {

namespace nf = systemfields::network;

std::shared_ptr<HiveFile> machineHive(TraceContext& context, const QString& path) { return context.exists(path) ? context.hive(path) : nullptr; }

// A SYSTEMTIME (year, month, weekday, day, hour, minute, second, millisecond; 2 bytes each) in the
// zone given.
std::optional<UtcMicros> systemTime(const QByteArray& bytes, const QTimeZone& zone) {
    const ByteView v(bytes);
    if (v.size() < 16 || v.u16(0) < 1601) return std::nullopt;
    return fromCivilTime(v.u16(0), v.u16(2), v.u16(6), v.u16(8), v.u16(10), v.u16(12), v.u16(14), zone);
}

QString multiText(const RegValueData& data) {
    QStringList parts;
    for (const QString& part : ByteView(data.bytes).utf16(0, static_cast<size_t>(data.bytes.size()) / 2).split(QChar(0), Qt::SkipEmptyParts)) parts << part;
    return parts.join(QStringLiteral(", "));
}

QString valueOf(const HiveFile& hive, HiveFile::Node node, const char* name) {
    const auto v = hive.value(node, QLatin1String(name));
    if (!v) return QString();
    if (v->type == regtype::MultiSz) return multiText(*v);
    return valueText(*v);
}

std::optional<uint32_t> dword(const HiveFile& hive, HiveFile::Node node, const char* name) {
    const auto v = hive.value(node, QLatin1String(name));
    if (!v || v->bytes.size() < 4) return std::nullopt;
    return ByteView(v->bytes).u32(0);
}

QString macText(const QByteArray& bytes) {
    QStringList parts;
    for (const char b : bytes) parts << QStringLiteral("%1").arg(static_cast<uchar>(b), 2, 16, QLatin1Char('0'));
    return parts.join(QLatin1Char(':'));
}

struct Writer {
    TraceContext& context;
    TraceSink& sink;
    bool put(const Provenance& from, const QString& part, OwnedRecord<nf::Count>& r) {
        Provenance p = from;
        p.part = part.toUtf8();
        return context.deliver(sink, p, r.values());
    }
};

bool interfaces(Writer& out, const HiveFile& system, const QString& ccs) {
    const QString path = ccs + QStringLiteral("\\Services\\Tcpip\\Parameters\\Interfaces");
    const auto key = keyAt(system, path);
    if (!key) return true;
    const Provenance from{{}, {}, {}, kSystemHive.toUtf8(), {}};
    for (const HiveFile::Named& i : system.children(*key)) {
        OwnedRecord<nf::Count> r;
        r.text(nf::Kind, QStringLiteral("interface"));
        r.text(nf::Name, i.name);
        QString address = valueOf(system, i.node, "DhcpIPAddress");
        if (address.isEmpty() || address == QLatin1String("0.0.0.0")) address = valueOf(system, i.node, "IPAddress");
        r.text(nf::Address, address);
        QString gateway = valueOf(system, i.node, "DhcpDefaultGateway");
        if (gateway.isEmpty()) gateway = valueOf(system, i.node, "DefaultGateway");
        r.text(nf::Gateway, gateway);
        r.text(nf::DhcpServer, valueOf(system, i.node, "DhcpServer"));
        QString domain = valueOf(system, i.node, "DhcpDomain");
        if (domain.isEmpty()) domain = valueOf(system, i.node, "Domain");
        r.text(nf::Domain, domain);
        if (const auto t = dword(system, i.node, "LeaseObtainedTime"); t && *t) r.time(nf::LeaseObtained, int64_t{*t} * 1000000);
        if (const auto t = dword(system, i.node, "LeaseTerminatesTime"); t && *t) r.time(nf::LeaseEnds, int64_t{*t} * 1000000);
        if (const auto dhcp = dword(system, i.node, "EnableDHCP")) r.text(nf::Details, *dhcp ? QStringLiteral("DHCP") : QStringLiteral("static"));
        r.time(nf::KeyWritten, keyTime(system, i.node));
        if (!out.put(from, path + QLatin1Char('\\') + i.name, r)) return false;
    }
    return true;
}

bool profiles(Writer& out, const HiveFile& software, const QTimeZone& local) {
    const QString root = QStringLiteral("Microsoft\\Windows NT\\CurrentVersion\\NetworkList");
    const auto key = keyAt(software, root + QStringLiteral("\\Profiles"));
    if (!key) return true;
    // Each profile's gateway MAC and DNS suffix, from the signatures that name it.
    std::map<QString, std::pair<QString, QString>> signatures;
    for (const char* kind : {"Managed", "Unmanaged"}) {
        const auto sigs = keyAt(software, root + QStringLiteral("\\Signatures\\") + QLatin1String(kind));
        if (!sigs) continue;
        for (const HiveFile::Named& s : software.children(*sigs)) {
            const QString guid = valueOf(software, s.node, "ProfileGuid").toUpper();
            const auto mac = software.value(s.node, QStringLiteral("DefaultGatewayMac"));
            signatures[guid] = {mac ? macText(mac->bytes) : QString(), valueOf(software, s.node, "DnsSuffix")};
        }
    }
    static const std::map<uint32_t, const char*> kTypes = {{6, "wired"}, {23, "VPN"}, {71, "wireless"}, {243, "mobile broadband"}};
    static const char* const kCategories[] = {"public", "private", "domain"};
    const Provenance from{{}, {}, {}, kSoftwareHive.toUtf8(), {}};
    for (const HiveFile::Named& p : software.children(*key)) {
        OwnedRecord<nf::Count> r;
        r.text(nf::Kind, QStringLiteral("network profile"));
        r.text(nf::Name, valueOf(software, p.node, "ProfileName"));
        if (const auto sig = signatures.find(p.name.toUpper()); sig != signatures.end()) {
            r.text(nf::Address, sig->second.first);
            r.text(nf::Domain, sig->second.second);
        }
        if (const auto category = dword(software, p.node, "Category"); category && *category < 3) r.text(nf::Category, QLatin1String(kCategories[*category]));
        if (const auto created = software.value(p.node, QStringLiteral("DateCreated"))) r.time(nf::FirstConnected, systemTime(created->bytes, local));
        if (const auto last = software.value(p.node, QStringLiteral("DateLastConnected"))) r.time(nf::LastConnected, systemTime(last->bytes, local));
        QStringList details;
        if (const auto type = dword(software, p.node, "NameType")) {
            const auto known = kTypes.find(*type);
            details << (known != kTypes.end() ? QLatin1String(known->second) : QStringLiteral("type %1").arg(*type));
        }
        if (const QString description = valueOf(software, p.node, "Description"); !description.isEmpty()) details << description;
        r.text(nf::Details, details.join(QStringLiteral(", ")));
        r.time(nf::KeyWritten, keyTime(software, p.node));
        if (!out.put(from, root + QStringLiteral("\\Profiles\\") + p.name, r)) return false;
    }
    return true;
}

bool wlanProfiles(Writer& out) {
    const QString root = QStringLiteral("C:\\ProgramData\\Microsoft\\Wlansvc\\Profiles\\Interfaces");
    for (const QString& iface : out.context.list(root, true)) {
        const QString folder = root + QLatin1Char('\\') + iface;
        for (const DirEntry& e : out.context.system().listFolder(folder)) {
            if ((e.attributes & 0x10) || !e.name.endsWith(QLatin1String(".xml"), Qt::CaseInsensitive)) continue;
            const QString path = folder + QLatin1Char('\\') + e.name;
            const auto bytes = out.context.readSmallFile(path, 1 << 20);
            if (!bytes) continue;
            QXmlStreamReader xml(*bytes);
            QString name, ssid, authentication, mode;
            QStringList open;
            while (!xml.atEnd()) {
                const auto token = xml.readNext();
                if (token == QXmlStreamReader::StartElement) open << xml.name().toString();
                else if (token == QXmlStreamReader::EndElement && !open.isEmpty()) open.removeLast();
                else if (token == QXmlStreamReader::Characters && !open.isEmpty()) {
                    const QString& leaf = open.last();
                    if (leaf == QLatin1String("name") && open.size() == 2) name += xml.text();
                    else if (leaf == QLatin1String("name") && open.contains(QLatin1String("SSID"))) ssid += xml.text();
                    else if (leaf == QLatin1String("authentication")) authentication += xml.text();
                    else if (leaf == QLatin1String("connectionMode")) mode += xml.text();
                }
            }
            if (xml.hasError()) {
                out.context.note(FindingKind::Damaged, QStringLiteral("WLAN profile ") + path, xml.errorString());
                continue;
            }
            OwnedRecord<nf::Count> r;
            r.text(nf::Kind, QStringLiteral("WLAN profile"));
            r.text(nf::Name, ssid.isEmpty() ? name : ssid);
            QStringList details{authentication.trimmed(), mode.trimmed()};
            details.removeAll(QString());
            r.text(nf::Details, details.join(QStringLiteral(", ")));
            const auto times = out.context.fileTimes(path);
            if (times) r.time(nf::FirstConnected, utc::fromFileTime(times->created));
            if (!out.put(Provenance{{}, {}, {}, path.toUtf8(), {}}, iface, r)) return false;
        }
    }
    return true;
}

bool shares(Writer& out, const HiveFile& system, const QString& ccs) {
    const QString path = ccs + QStringLiteral("\\Services\\LanmanServer\\Shares");
    const auto key = keyAt(system, path);
    if (!key) return true;
    const Provenance from{{}, {}, {}, kSystemHive.toUtf8(), {}};
    for (const HiveFile::NamedValue& v : system.values(*key)) {
        OwnedRecord<nf::Count> r;
        r.text(nf::Kind, QStringLiteral("share"));
        r.text(nf::Name, v.name);
        const QStringList lines = ByteView(v.data.bytes).utf16(0, static_cast<size_t>(v.data.bytes.size()) / 2).split(QChar(0), Qt::SkipEmptyParts);
        QStringList rest;
        for (const QString& line : lines) {
            if (line.startsWith(QLatin1String("Path="), Qt::CaseInsensitive)) r.text(nf::Address, line.mid(5));
            else rest << line;
        }
        r.text(nf::Details, rest.join(QStringLiteral(", ")));
        r.time(nf::KeyWritten, keyTime(system, *key));
        if (!out.put(from, path, r)) return false;
    }
    return true;
}

bool mappedDrives(Writer& out, const UserHive& h) {
    const auto key = keyAt(*h.hive, QStringLiteral("Network"));
    if (!key) return true;
    for (const HiveFile::Named& drive : h.hive->children(*key)) {
        OwnedRecord<nf::Count> r;
        r.text(nf::Kind, QStringLiteral("mapped drive"));
        r.text(nf::Name, drive.name + QLatin1Char(':'));
        r.text(nf::Address, valueOf(*h.hive, drive.node, "RemotePath"));
        if (const QString user = valueOf(*h.hive, drive.node, "UserName"); !user.isEmpty()) r.text(nf::Details, QStringLiteral("as ") + user);
        r.time(nf::KeyWritten, keyTime(*h.hive, drive.node));
        if (!out.put(userProvenance(*h.user, h.path, QString()), QStringLiteral("Network\\") + drive.name, r)) return false;
    }
    return true;
}

}  // namespace

void windowsNetwork(TraceContext& context, TraceSink& sink) {
    Writer out{context, sink};
    const QTimeZone local = examinedZone(context);
    if (const auto system = machineHive(context, kSystemHive)) {
        const QString ccs = currentControlSet(*system);
        if (!ccs.isEmpty() && (!interfaces(out, *system, ccs) || !shares(out, *system, ccs))) return;
    }
    if (const auto software = machineHive(context, kSoftwareHive)) {
        if (!profiles(out, *software, local)) return;
    }
    if (!wlanProfiles(out)) return;
    for (const UserHive& h : userHives(context, UserHiveKind::NtUser)) {
        if (!mappedDrives(out, h)) return;
    }
}

void windowsRdpClient(TraceContext& context, TraceSink& sink) {
    namespace rf = systemfields::rdpclient;
    const QString root = QStringLiteral("Software\\Microsoft\\Terminal Server Client");
    for (const UserHive& h : userHives(context, UserHiveKind::NtUser)) {
        const HiveFile& hive = *h.hive;
        std::map<QString, std::pair<QString, HiveFile::Node>> servers;
        if (const auto key = keyAt(hive, root + QStringLiteral("\\Servers"))) {
            for (const HiveFile::Named& s : hive.children(*key)) servers[s.name.toLower()] = {s.name, s.node};
        }
        const auto deliver = [&](const QString& server, std::optional<int> position, std::optional<UtcMicros> written, const QString& part) {
            OwnedRecord<rf::Count> r;
            r.text(rf::Server, server);
            if (const auto s = servers.find(server.toLower()); s != servers.end()) r.text(rf::UsernameHint, valueOf(hive, s->second.second, "UsernameHint"));
            if (position) r.integer(rf::Position, *position);
            r.time(rf::KeyWritten, written);
            return context.deliver(sink, userProvenance(*h.user, h.path, part), r.values());
        };
        std::set<QString> listed;
        if (const auto mru = keyAt(hive, root + QStringLiteral("\\Default"))) {
            for (int i = 0; i < 10; ++i) {
                const QString server = valueOf(hive, *mru, QStringLiteral("MRU%1").arg(i).toLatin1().constData());
                if (server.isEmpty()) continue;
                listed.insert(server.toLower());
                if (!deliver(server, i, keyTime(hive, *mru), root + QStringLiteral("\\Default"))) return;
            }
        }
        for (const auto& [lower, server] : servers) {
            if (listed.count(lower)) continue;
            if (!deliver(server.first, std::nullopt, keyTime(hive, server.second), root + QStringLiteral("\\Servers\\") + server.first)) return;
        }
    }
}

void windowsMountPoints(TraceContext& context, TraceSink& sink) {
    namespace mf = systemfields::mountpoints;
    const QString mp2 = QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\MountPoints2");
    for (const UserHive& h : userHives(context, UserHiveKind::NtUser)) {
        const auto key = keyAt(*h.hive, mp2);
        if (!key) continue;
        for (const HiveFile::Named& m : h.hive->children(*key)) {
            OwnedRecord<mf::Count> r;
            r.text(mf::Name, m.name);
            // "{GUID}" a volume, "##server#share" a network share, a letter a drive.
            r.text(mf::Kind, m.name.startsWith(QLatin1Char('{')) ? QStringLiteral("volume")
                             : m.name.startsWith(QLatin1String("##")) ? QStringLiteral("network share")
                                                                      : QStringLiteral("drive letter"));
            if (m.name.startsWith(QLatin1String("##"))) r.text(mf::Device, QString(m.name).replace(QLatin1Char('#'), QLatin1Char('\\')).mid(0));
            r.time(mf::KeyWritten, keyTime(*h.hive, m.node));
            if (!context.deliver(sink, userProvenance(*h.user, h.path, mp2 + QLatin1Char('\\') + m.name), r.values())) return;
        }
    }
    const auto system = machineHive(context, kSystemHive);
    const auto mounted = system ? keyAt(*system, QStringLiteral("MountedDevices")) : std::nullopt;
    if (!mounted) return;
    for (const HiveFile::NamedValue& v : system->values(*mounted)) {
        OwnedRecord<mf::Count> r;
        r.text(mf::Name, v.name);
        r.text(mf::Kind, v.name.startsWith(QLatin1String("\\DosDevices\\")) ? QStringLiteral("drive letter (MountedDevices)")
                                                                            : QStringLiteral("volume (MountedDevices)"));
        const ByteView b(v.data.bytes);
        QString device;
        if (b.size() == 12) {
            device = QStringLiteral("disk signature %1, offset %2").arg(b.u32(0), 8, 16, QLatin1Char('0')).arg(b.u64(4));
        } else if (b.size() == 24 && b.startsWith("DMIO:ID:")) {
            device = QStringLiteral("GPT partition ") + b.guidText(8);
        } else {
            device = b.utf16(0, b.size() / 2);
        }
        r.text(mf::Device, device);
        r.time(mf::KeyWritten, keyTime(*system, *mounted));
        if (!context.deliver(sink, Provenance{{}, {}, {}, kSystemHive.toUtf8(), QByteArrayLiteral("MountedDevices")}, r.values())) return;
    }
}

}  // namespace kestrova
