// windows.activities: the Windows Timeline (Windows 10 1803 to 11), each user's
// AppData\Local\ConnectedDevicesPlatform\<account>\ActivitiesCache.db. An SQLite database whose
// rows often live only in its write-ahead log: it is read as the browsers' databases are, the
// log applied to a private copy, the evidence untouched.
//
// The Activity table (and ActivityOperation, the changes not yet uploaded; same columns; the
// field's Timeline notes and plaso's parser, checked on the shared samples): AppId (JSON: a list
// of {application, platform}), Payload (JSON: displayText, description, appDisplayName,
// contentUri, activeDurationSeconds), ActivityType, ActivityStatus, StartTime, EndTime,
// LastModifiedTime, ExpirationTime (Unix seconds; 0 where unset), PlatformDeviceId,
// ClipboardPayload, Id (a GUID's 16 bytes).
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "traces/sql_rows.h"
#include "traces/usage/usage_fields.h"
#include "traces/usage/usage_sources.h"

namespace kestrova {
namespace {

namespace af = usagefields::activities;

QString typeName(int64_t type) {
    switch (type) {
        case 2: return QStringLiteral("2 notification");
        case 3: return QStringLiteral("3 backup or restore");
        case 5: return QStringLiteral("5 app or document opened");
        case 6: return QStringLiteral("6 app in use");
        case 10: return QStringLiteral("10 clipboard");
        case 11: return QStringLiteral("11 system");
        case 12: return QStringLiteral("12 system");
        case 15: return QStringLiteral("15 system");
        case 16: return QStringLiteral("16 copy or paste");
        default: return QString::number(type);
    }
}

// A text or blob column's bytes; empty for NULL.
QByteArray bytesAt(const Query& q, int column) {
    const auto text = q.text(column);
    return text ? QByteArray(text->data(), static_cast<qsizetype>(text->size())) : QByteArray();
}

std::optional<UtcMicros> unixSeconds(const Query& q, int column) {
    if (q.isNull(column) || q.integer(column) <= 0) return std::nullopt;
    return q.integer(column) * 1000000;
}

struct JsonLosses {
    qint64 rows = 0;
    QString first;
};

void readTable(TraceContext& context, TraceSink& sink, const EvidenceDatabase& db, const UserProfile& user, const QString& table, JsonLosses* losses) {
    const Columns c(db, table);
    if (!c.exists()) return;
    const QString sql = QStringLiteral("SELECT %1, %2, %3, %4, %5, %6, %7, %8, %9, %10, %11, %12 FROM [%13] ORDER BY %14")
                            .arg(c.pick("StartTime"), c.pick("EndTime"), c.pick("LastModifiedTime"), c.pick("ExpirationTime"), c.pick("AppId"),
                                 c.pick("Payload"), c.pick("ActivityType"), c.pick("ActivityStatus"), c.pick("PlatformDeviceId"))
                            .arg(c.pick("ClipboardPayload"), c.pick("Id"), c.pick("ETag"), table, c.has("StartTime") ? QStringLiteral("StartTime") : QStringLiteral("rowid"));
    Query q(db, sql);
    if (!q.ok()) {
        noteSchema(context, db.path(), q.error());
        return;
    }
    while (q.next()) {
        OwnedRecord<af::Count> r;
        r.time(af::Start, unixSeconds(q, 0));
        r.time(af::End, unixSeconds(q, 1));
        r.time(af::LastModified, unixSeconds(q, 2));
        r.time(af::Expiration, unixSeconds(q, 3));
        bool damaged = false;
        const QByteArray appId = bytesAt(q, 4);
        if (!appId.isEmpty()) {
            QJsonParseError error{};
            const QJsonDocument doc = QJsonDocument::fromJson(appId, &error);
            if (!doc.isArray()) {
                damaged = true;
                r.text(af::App, QString::fromUtf8(appId));
            }
            // The first application named, and the platform it is named for.
            for (const QJsonValue& entry : doc.array()) {
                const QString app = entry.toObject().value(QLatin1String("application")).toString();
                if (app.isEmpty()) continue;
                r.text(af::App, app);
                r.text(af::Platform, entry.toObject().value(QLatin1String("platform")).toString());
                break;
            }
        }
        const QByteArray payload = bytesAt(q, 5);
        if (!payload.isEmpty() && payload.startsWith('{')) {
            const QJsonDocument doc = QJsonDocument::fromJson(payload);
            if (!doc.isObject()) {
                damaged = true;
            } else {
                const QJsonObject o = doc.object();
                r.text(af::DisplayText, o.value(QLatin1String("displayText")).toString());
                r.text(af::Description, o.value(QLatin1String("description")).toString());
                r.text(af::AppName, o.value(QLatin1String("appDisplayName")).toString());
                r.text(af::Content, o.value(QLatin1String("contentUri")).toString());
                if (o.contains(QLatin1String("activeDurationSeconds"))) r.integer(af::ActiveSeconds, o.value(QLatin1String("activeDurationSeconds")).toInteger());
            }
        }
        if (damaged && losses->rows++ == 0) losses->first = QStringLiteral("%1 row of %2").arg(table, r.has(af::Start) ? QStringLiteral("a start") : QStringLiteral("no start"));
        if (!q.isNull(6)) r.text(af::ActivityType, typeName(q.integer(6)));
        if (!q.isNull(7)) r.integer(af::Status, q.integer(7));
        if (const auto device = q.text(8)) r.text(af::Device, QString::fromUtf8(*device));
        r.boolean(af::Clipboard, !q.isNull(9) && q.bytes(9) > 0);
        const QByteArray id = bytesAt(q, 10);
        if (!id.isEmpty()) r.text(af::Id, QString::fromLatin1(id.toHex()));
        r.text(af::Table, table);
        if (!context.deliver(sink, userProvenance(user, db.path(), table), r.values())) return;
    }
    if (!q.error().isEmpty()) {
        context.note(FindingKind::Damaged, QStringLiteral("database ") + db.path(), QStringLiteral("reading %1 ended early: %2").arg(table, q.error()));
    }
}

}  // namespace

void windowsActivities(TraceContext& context, TraceSink& sink) {
    for (const UserProfile& user : context.users()) {
        const QString platform = user.local + QStringLiteral("\\ConnectedDevicesPlatform");
        for (const QString& account : context.list(platform, true)) {
            if (context.stopped()) return;
            const QString path = platform + QLatin1Char('\\') + account + QStringLiteral("\\ActivitiesCache.db");
            if (!context.exists(path)) continue;
            const auto db = context.openDatabase(path);
            if (!db) continue;  // noted
            if (!db->hasTable(QStringLiteral("Activity"))) {
                noteSchema(context, path, QStringLiteral("no Activity table"));
                continue;
            }
            JsonLosses losses;
            readTable(context, sink, *db, user, QStringLiteral("Activity"), &losses);
            readTable(context, sink, *db, user, QStringLiteral("ActivityOperation"), &losses);
            if (losses.rows > 0) {
                context.note(FindingKind::Damaged, QStringLiteral("database ") + path,
                             QStringLiteral("%1 rows hold an AppId or Payload that is not JSON: their other fields are kept (the first: %2)")
                                 .arg(losses.rows)
                                 .arg(losses.first));
            }
        }
    }
}

}  // namespace kestrova
