// SRUM: the System Resource Usage Monitor's database, C:\Windows\System32\sru\SRUDB.dat (Windows 8
// and later), an ESE database read through libesedb in a contained child. Windows writes an hour's
// use a row (TimeStamp: the end of the slot, an OLE Automation date), each row naming its
// application and account by an index into SruDbIdMapTable.
//
// Tables (the field's SRUM notes and srum-dump's table of GUIDs; checked against esedbexport on
// the shared Windows 10 database):
//   SruDbIdMapTable                          IdType (0 application, 1 service, 2 application,
//                                            3 account), IdIndex, IdBlob (UTF-16 name, or a SID)
//   {D10CA2FE-6FCF-4F6D-848E-B2E99266FA89}   application resource use: cycle times, face time,
//                                            context switches, bytes read and written
//   {973F5D5C-1D90-4944-BE8E-24B94231A174}   network data use: InterfaceLuid, L2ProfileId,
//                                            BytesSent, BytesRecvd
//   {DD6636C4-8929-4683-974E-22C046A43763}   network connectivity: ConnectedTime (seconds),
//                                            ConnectStartTime (FILETIME)
//   the others                               by their GUID's meaning (see kOtherTables), their
//                                            columns as named values
// A database Windows did not close cleanly (its header's state: dirty shutdown) is read as it
// lies: its transaction logs (SRU*.log) are not replayed, and rows still only in them are not read.
#include <QFileDevice>

#include "core/common/byte_view.h"
#include "platform/volume/regular_file.h"
#include "traces/contained_source.h"
#include "traces/ese_tables.h"
#include "traces/usage/usage_fields.h"
#include "traces/usage/usage_sources.h"
#include "traces/windows/registry_walk.h"

namespace kestrova {
namespace {

constexpr const char* kSrum = "C:\\Windows\\System32\\sru\\SRUDB.dat";
constexpr const char* kAppsTable = "{D10CA2FE-6FCF-4F6D-848E-B2E99266FA89}";
constexpr const char* kNetworkTable = "{973F5D5C-1D90-4944-BE8E-24B94231A174}";
constexpr const char* kConnectivityTable = "{DD6636C4-8929-4683-974E-22C046A43763}";

struct OtherTable {
    const char* guid;
    const char* meaning;
};
constexpr OtherTable kOtherTables[] = {
    {"{D10CA2FE-6FCF-4F6D-848E-B2E99266FA86}", "push notifications"},
    {"{5C8CF1C7-7257-4F13-B223-970EF5939312}", "application timeline"},
    {"{7ACBBAA3-D029-4BE4-9A7A-0885927F1D8F}", "application use (vfu)"},
    {"{FEE4E14F-02A9-4550-B5CE-5FA2DA202E37}", "energy use"},
    {"{FEE4E14F-02A9-4550-B5CE-5FA2DA202E37}LT", "energy use (long term)"},
    {"{DA73FB89-2BEA-4DDC-86B8-6E048C6DA477}", "energy estimation"},
    {"{97C2CE28-A37B-4920-B1E9-8B76CD341EC5}", "energy use (Windows 10 2004 and later)"},
    {"{B6D82AF1-F780-4E17-8077-6CB9AD8A6FC4}", "Tagged Energy"},
};

enum class SrumKind { Apps, Network, Connectivity, Other };

// An IdMap index as its name, and the account named where a SID is.
struct IdNames {
    std::map<int64_t, QString> names;
    std::map<int64_t, bool> isSid;
    const std::map<QString, QString>* accounts = nullptr;

    QString name(std::optional<int64_t> id) const {
        if (!id) return QString();
        const auto it = names.find(*id);
        return it == names.end() ? QStringLiteral("(id %1)").arg(*id) : it->second;
    }
    // The account's name where the volume knows the SID ("" otherwise), and the SID.
    std::pair<QString, QString> user(std::optional<int64_t> id) const {
        const QString sid = name(id);
        const auto known = accounts->find(sid);
        return {known == accounts->end() ? QString() : known->second, sid};
    }
};

IdNames readIdMap(TraceContext& context, const QString& what, libesedb_file_t* file, const std::map<QString, QString>& accounts) {
    IdNames ids;
    ids.accounts = &accounts;
    QString why;
    const Table table = tableNamed(file, "SruDbIdMapTable", &why);
    if (!table) {
        context.note(why.isEmpty() ? FindingKind::SchemaDiffers : FindingKind::Damaged, what,
                     why.isEmpty() ? QStringLiteral("no table SruDbIdMapTable: applications and accounts stay numbers")
                                   : QStringLiteral("its table SruDbIdMapTable cannot be read (%1)").arg(why));
        return ids;
    }
    forEachRecord(context, what + QStringLiteral(", table SruDbIdMapTable"), table.get(), [&](const EseRow& row, const std::map<QString, int>& columns) {
        const auto type = row.integer(column(columns, "IdType"));
        const auto index = row.integer(column(columns, "IdIndex"));
        if (!index) return true;
        const QByteArray blob = row.bytes(column(columns, "IdBlob"));
        const ByteView v(blob);
        if (type == 3) {
            ids.names[*index] = v.sidText(0);
        } else {
            ids.names[*index] = v.utf16z(0);
        }
        return true;
    });
    return ids;
}

// The columns of a row that are not named fields, as named values.
QByteArray otherValues(const EseRow& row, const std::map<QString, int>& columns) {
    std::vector<std::pair<QString, QString>> pairs;
    for (const auto& [name, index] : columns) {
        if (name == QLatin1String("AutoIncId") || name == QLatin1String("TimeStamp") || name == QLatin1String("AppId") || name == QLatin1String("UserId")) continue;
        if (const auto n = row.integer(index)) {
            pairs.emplace_back(name, QString::number(*n));
        } else {
            const QByteArray bytes = row.bytes(index);
            if (!bytes.isEmpty()) pairs.emplace_back(name, QString::fromLatin1(bytes.toHex()));
        }
    }
    return namedValues(pairs);
}

QString interfaceText(std::optional<int64_t> luid) {
    if (!luid) return QString();
    // The LUID's top 16 bits are the interface type (IANA ifType).
    const int type = static_cast<int>((static_cast<uint64_t>(*luid) >> 48) & 0xFFFF);
    const char* name = type == 71 ? "Wi-Fi" : type == 6 ? "Ethernet" : type == 243 || type == 244 ? "mobile broadband" : type == 24 ? "loopback" : nullptr;
    return name ? QStringLiteral("%1 (%2)").arg(*luid).arg(QLatin1String(name)) : QString::number(*luid);
}

void readTable(TraceContext& context, TraceSink& sink, SrumKind kind, libesedb_file_t* file, const QString& path, const QString& what,
               const IdNames& ids, const char* tableName, const char* meaning) {
    QString why;
    const Table table = tableNamed(file, tableName, &why);
    if (!table) {
        if (!why.isEmpty()) context.note(FindingKind::Damaged, what, QStringLiteral("its table %1 cannot be read (%2)").arg(QLatin1String(tableName), why));
        else if (kind != SrumKind::Other) context.note(FindingKind::SchemaDiffers, what, QStringLiteral("no table %1").arg(QLatin1String(tableName)));
        return;
    }
    forEachRecord(context, what + QStringLiteral(", table ") + QLatin1String(tableName), table.get(), [&](const EseRow& row, const std::map<QString, int>& columns) {
        const auto time = row.oleDate(column(columns, "TimeStamp"));
        const QString app = ids.name(row.integer(column(columns, "AppId")));
        const auto [user, sid] = ids.user(row.integer(column(columns, "UserId")));
        // The account's records are the user's where the volume knows whose SID it is.
        const Provenance from{user.toUtf8(), {}, {}, path.toUtf8(), QByteArray(tableName)};
        const auto integer = [&](const char* name) { return row.integer(column(columns, name)); };
        const auto put = [](auto& r, int field, std::optional<int64_t> n) {
            if (n) r.integer(field, *n);
        };
        switch (kind) {
        case SrumKind::Apps: {
            namespace f = usagefields::srumapps;
            OwnedRecord<f::Count> r;
            r.time(f::Time, time);
            r.text(f::App, app);
            r.text(f::Account, user);
            r.text(f::Sid, sid);
            put(r, f::ForegroundCycles, integer("ForegroundCycleTime"));
            put(r, f::BackgroundCycles, integer("BackgroundCycleTime"));
            put(r, f::FaceTime, integer("FaceTime"));
            put(r, f::ForegroundContextSwitches, integer("ForegroundContextSwitches"));
            put(r, f::BackgroundContextSwitches, integer("BackgroundContextSwitches"));
            put(r, f::ForegroundBytesRead, integer("ForegroundBytesRead"));
            put(r, f::ForegroundBytesWritten, integer("ForegroundBytesWritten"));
            put(r, f::BackgroundBytesRead, integer("BackgroundBytesRead"));
            put(r, f::BackgroundBytesWritten, integer("BackgroundBytesWritten"));
            return context.deliver(sink, from, r.values());
        }
        case SrumKind::Network: {
            namespace f = usagefields::srumnetwork;
            OwnedRecord<f::Count> r;
            r.time(f::Time, time);
            r.text(f::App, app);
            r.text(f::Account, user);
            r.text(f::Sid, sid);
            r.text(f::Interface, interfaceText(integer("InterfaceLuid")));
            put(r, f::NetworkProfile, integer("L2ProfileId"));
            put(r, f::BytesSent, integer("BytesSent"));
            put(r, f::BytesReceived, integer("BytesRecvd"));
            return context.deliver(sink, from, r.values());
        }
        case SrumKind::Connectivity: {
            namespace f = usagefields::srumconnectivity;
            OwnedRecord<f::Count> r;
            r.time(f::Time, time);
            r.text(f::Interface, interfaceText(integer("InterfaceLuid")));
            put(r, f::NetworkProfile, integer("L2ProfileId"));
            put(r, f::ConnectedSeconds, integer("ConnectedTime"));
            if (const auto start = integer("ConnectStartTime")) r.time(f::ConnectStart, utc::fromFileTime(static_cast<uint64_t>(*start)));
            r.text(f::App, app);
            r.text(f::Account, user);
            r.text(f::Sid, sid);
            return context.deliver(sink, from, r.values());
        }
        case SrumKind::Other: {
            namespace f = usagefields::srumother;
            OwnedRecord<f::Count> r;
            r.time(f::Time, time);
            r.text(f::Table, QStringLiteral("%1 %2").arg(QLatin1String(meaning), QLatin1String(tableName)));
            r.text(f::App, app);
            r.text(f::Account, user);
            r.text(f::Sid, sid);
            r.bytes(f::Values, otherValues(row, columns));
            return context.deliver(sink, from, r.values());
        }
        }
        return true;
    });
}

void readSrum(TraceContext& context, TraceSink& sink, SrumKind kind, const QString& path, const QByteArray& localName,
              const std::map<QString, QString>& accounts) {
    const QString what = QStringLiteral("SRUM database ") + path;
    const auto file = openLibyal(localName, libesedb_file_initialize, libesedb_file_open, libesedb_file_close, libesedb_file_free, LIBESEDB_OPEN_READ);
    if (!file) {
        context.note(FindingKind::Damaged, what, QStringLiteral("not an ESE database libesedb reads"));
        return;
    }
    const IdNames ids = readIdMap(context, what, file.get(), accounts);
    switch (kind) {
    case SrumKind::Apps: readTable(context, sink, kind, file.get(), path, what, ids, kAppsTable, "application resource use"); break;
    case SrumKind::Network: readTable(context, sink, kind, file.get(), path, what, ids, kNetworkTable, "network data use"); break;
    case SrumKind::Connectivity: readTable(context, sink, kind, file.get(), path, what, ids, kConnectivityTable, "network connectivity"); break;
    case SrumKind::Other:
        for (const OtherTable& t : kOtherTables) {
            if (context.stopped()) return;
            readTable(context, sink, kind, file.get(), path, what, ids, t.guid, t.meaning);
        }
        break;
    }
}

void srum(TraceContext& context, TraceSink& sink, SrumKind kind) {
    const QString path = QLatin1String(kSrum);
    if (!context.exists(path)) return;
    const auto file = context.system().openFile(path, QStringLiteral("SRUM database"));
    if (!file) return;  // noted
    // The header's database state (offset 52): 2 is a dirty shutdown.
    const QByteArray head = file->read(56);
    if (head.size() == 56 && ByteView(head).u32(52) == 2) {
        context.note(FindingKind::AsItLies, QStringLiteral("SRUM database ") + path,
                     QStringLiteral("Windows did not close it cleanly: its transaction logs (SRU*.log) are not replayed, and rows still only in them are not read"));
    }
    file->seek(0);
    const std::map<QString, QString> accounts = knownAccounts(context);
    runContainedSource(context, sink, QStringLiteral("SRUM database ") + path,
                       [&](TraceContext& c, TraceSink& s) { readSrum(c, s, kind, path, descriptorPath(*file), accounts); });
}

}  // namespace

void windowsSrumApps(TraceContext& context, TraceSink& sink) { srum(context, sink, SrumKind::Apps); }
void windowsSrumNetwork(TraceContext& context, TraceSink& sink) { srum(context, sink, SrumKind::Network); }
void windowsSrumConnectivity(TraceContext& context, TraceSink& sink) { srum(context, sink, SrumKind::Connectivity); }
void windowsSrumOther(TraceContext& context, TraceSink& sink) { srum(context, sink, SrumKind::Other); }

}  // namespace kestrova
