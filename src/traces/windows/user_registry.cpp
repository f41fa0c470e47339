// The per-user registry kinds: UserAssist, RecentDocs, the MRU lists of the shell and its dialogs,
// and ShellBags. Layouts after the public descriptions in RegRipper's plugins (userassist,
// recentdocs, comdlg32, runmru, typedpaths, wordwheelquery, typedurls, shellbags) and libyal's
// shell item documentation, checked against the real Windows 7 and 10 hives in the samples.
// The walks run contained, because the shell items in these values go through libfwsi.
#include <functional>
#include <set>

#include "traces/contained_source.h"
#include "traces/windows/activity_decoders.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/shell_items.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace wf = windowsfields;
const QString kExplorer = QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer");

// A known folder GUID at the start of a UserAssist name ("{1AC14E77-...}\cmd.exe") as its name
// ("System\cmd.exe").
QString withFolderNames(const QString& name) {
    if (!name.startsWith(QLatin1Char('{')) || name.size() < 38 || name[37] != QLatin1Char('}')) return name;
    const QString known = knownFolderName(name.left(38));
    return known.isEmpty() ? name : known + name.mid(38);
}

}  // namespace

UserAssistEntry decodeUserAssist(ByteView data) {
    UserAssistEntry entry;
    if (data.size() >= 68) {
        // Windows 7 and later: 4 unknown, run count, focus count, focus time (ms), ..., FILETIME at 60.
        entry.runCount = data.u32(4);
        entry.focusCount = data.u32(8);
        entry.focusTimeMs = data.u32(12);
        entry.lastRun = utc::fromFileTime(static_cast<int64_t>(data.u64(60)));
    } else if (data.size() == 16) {
        // Windows XP: session, run count (which starts at 5), FILETIME at 8.
        const uint32_t runs = data.u32(4);
        entry.runCount = runs >= 5 ? runs - 5 : runs;
        entry.lastRun = utc::fromFileTime(static_cast<int64_t>(data.u64(8)));
    }
    return entry;
}

namespace {

void userAssistOf(TraceContext& context, TraceSink& sink, const UserHive& h) {
    using namespace wf::userassist;
    const HiveFile& hive = *h.hive;
    const auto root = keyAt(hive, kExplorer + QStringLiteral("\\UserAssist"));
    if (!root) return;
    for (const HiveFile::Named& guid : hive.children(*root)) {
        const auto count = hive.child(guid.node, QStringLiteral("Count"));
        if (!count) continue;
        const QString keyPath = kExplorer + QStringLiteral("\\UserAssist\\") + guid.name + QStringLiteral("\\Count");
        const Provenance from = userProvenance(*h.user, h.path, keyPath);
        const auto written = keyTime(hive, *count);
        for (const HiveFile::NamedValue& value : hive.values(*count)) {
            const ByteView data(value.data.bytes);
            const QString decoded = rot13(value.name);
            // UEME_CTLSESSION is the list's own session record (1,612 bytes of it), not an entry.
            if (decoded == QLatin1String("UEME_CTLSESSION")) continue;
            OwnedRecord<Count> r;
            r.text(Name, withFolderNames(decoded));
            r.text(RawName, decoded);
            r.text(Guid, guid.name);
            r.time(KeyWritten, written);
            const UserAssistEntry entry = decodeUserAssist(data);
            if (entry.runCount) r.integer(RunCount, *entry.runCount);
            if (entry.focusCount) r.integer(FocusCount, *entry.focusCount);
            if (entry.focusTimeMs) r.integer(FocusTimeMs, *entry.focusTimeMs);
            r.time(LastRun, entry.lastRun);
            if (!context.deliver(sink, from, r.values())) return;
        }
    }
}

// RecentDocs and each of its per-extension subkeys: a value is the document's name (UTF-16, NUL)
// followed by the shell item of the shortcut Windows made for it in Recent.
void recentDocsOf(TraceContext& context, TraceSink& sink, const UserHive& h) {
    using namespace wf::recentdocs;
    const HiveFile& hive = *h.hive;
    const QString rootPath = kExplorer + QStringLiteral("\\RecentDocs");
    const auto root = keyAt(hive, rootPath);
    if (!root) return;
    std::vector<std::pair<QString, HiveFile::Node>> keys{{QString(), *root}};
    for (const HiveFile::Named& sub : hive.children(*root)) keys.emplace_back(sub.name, sub.node);
    for (const auto& [extension, node] : keys) {
        const Provenance from = userProvenance(*h.user, h.path, extension.isEmpty() ? rootPath : rootPath + QLatin1Char('\\') + extension);
        const auto written = keyTime(hive, node);
        qint64 position = 0;
        for (const QString& name : mruOrder(hive, node)) {
            const auto value = hive.value(node, name);
            if (!value) continue;
            const ByteView data(value->bytes);
            OwnedRecord<Count> r;
            r.text(Name, data.utf16z(0));
            r.text(Extension, extension);
            r.integer(Position, position++);
            r.text(ValueName, name);
            r.time(KeyWritten, written);
            const auto item = decodeItemList(data.sub(data.afterUtf16z(0)), nullptr);
            if (!item.empty()) r.text(LinkName, item.front().name);
            if (!context.deliver(sink, from, r.values())) return;
        }
    }
}

// One MRU list: `decode` turns a value into (entry, program); the list's key time goes with every
// entry, and TypedURLs also get their own typed time from TypedURLsTime.
void mruList(TraceContext& context, TraceSink& sink, const UserHive& h, const QString& list, const QString& keyPath,
             const QString& subkey, const std::function<std::pair<QString, QString>(const RegValueData&)>& decode,
             bool numberedUrls = false) {
    using namespace wf::mru;
    const HiveFile& hive = *h.hive;
    const auto node = keyAt(hive, keyPath);
    if (!node) return;
    const Provenance from = userProvenance(*h.user, h.path, keyPath);
    const auto written = keyTime(hive, *node);
    QStringList names;
    if (numberedUrls) {
        // url1, url2, ...: the number is the order.
        for (int i = 1; i < 1000; ++i) {
            const QString name = QStringLiteral("url%1").arg(i);
            if (!hive.value(*node, name)) break;
            names << name;
        }
    } else {
        names = mruOrder(hive, *node);
        names.removeIf([](const QString& n) { return n.compare(QLatin1String("MRUList"), Qt::CaseInsensitive) == 0 ||
                                                     n.compare(QLatin1String("MRUListEx"), Qt::CaseInsensitive) == 0; });
    }
    const auto times = list == QLatin1String("TypedURLs") ? keyAt(hive, QStringLiteral("Software\\Microsoft\\Internet Explorer\\TypedURLsTime"))
                                                          : std::nullopt;
    qint64 position = 0;
    for (const QString& name : names) {
        const auto value = hive.value(*node, name);
        if (!value) continue;
        const auto [entry, program] = decode(*value);
        OwnedRecord<Count> r;
        r.text(List, list);
        r.text(Subkey, subkey);
        r.integer(Position, position++);
        r.text(Entry, entry);
        r.text(Program, program);
        r.text(ValueName, name);
        r.time(KeyWritten, written);
        if (times) {
            if (const auto t = hive.value(*times, name); t && t->bytes.size() >= 8) {
                r.time(Typed, utc::fromFileTime(static_cast<int64_t>(ByteView(t->bytes).u64(0))));
            }
        }
        if (!context.deliver(sink, from, r.values())) return;
    }
}

std::pair<QString, QString> asText(const RegValueData& v) { return {valueText(v), QString()}; }

// One Office list ("File MRU" or "Place MRU" of an application): "Item 1" (the latest), "Item 2",
// ...; since Office 2010 each "[F00000000][T01D7B7E3D3A7C000][O00000000]*C:\path\report.docx",
// the [T…] part the FILETIME it was last opened in hex; Office 2007 keeps the path alone.
bool officeList(TraceContext& context, TraceSink& sink, const UserHive& h, HiveFile::Node node, const QString& keyPath, const QString& list,
                const QString& program) {
    using namespace wf::mru;
    const HiveFile& hive = *h.hive;
    const Provenance from = userProvenance(*h.user, h.path, keyPath);
    const auto written = keyTime(hive, node);
    for (int i = 1; i < 1000; ++i) {
        const QString name = QStringLiteral("Item %1").arg(i);
        const auto value = hive.value(node, name);
        if (!value) break;
        const QString text = valueText(*value);
        OwnedRecord<Count> r;
        r.text(List, list);
        r.text(Subkey, program);
        r.integer(Position, i - 1);
        const qsizetype star = text.indexOf(QLatin1Char('*'));
        r.text(Entry, star >= 0 ? text.mid(star + 1) : text);
        r.text(Program, program.section(QLatin1Char(' '), 0, 0));
        if (const qsizetype t = text.indexOf(QLatin1String("[T")); t >= 0 && text.size() >= t + 19) {
            bool ok = false;
            const uint64_t filetime = text.mid(t + 2, 16).toULongLong(&ok, 16);
            if (ok && filetime) r.time(Opened, utc::fromFileTime(filetime));
        }
        r.text(ValueName, name);
        r.time(KeyWritten, written);
        if (!context.deliver(sink, from, r.values())) return false;
    }
    return true;
}

// Every Office version's and application's recent files and places, and those of each account
// signed in to Office 365 (User MRU\<account>).
void officeMru(TraceContext& context, TraceSink& sink, const UserHive& h) {
    const HiveFile& hive = *h.hive;
    const QString root = QStringLiteral("Software\\Microsoft\\Office");
    const auto office = keyAt(hive, root);
    if (!office) return;
    for (const HiveFile::Named& version : hive.children(*office)) {
        bool numbered = false;
        version.name.toDouble(&numbered);
        if (!numbered) continue;
        for (const HiveFile::Named& app : hive.children(version.node)) {
            const QString appPath = root + QLatin1Char('\\') + version.name + QLatin1Char('\\') + app.name;
            const QString program = app.name + QLatin1Char(' ') + version.name;
            std::vector<std::pair<HiveFile::Node, QString>> places{{app.node, appPath}};
            if (const auto users = hive.child(app.node, QStringLiteral("User MRU"))) {
                for (const HiveFile::Named& account : hive.children(*users)) places.emplace_back(account.node, appPath + QStringLiteral("\\User MRU\\") + account.name);
            }
            for (const auto& [node, path] : places) {
                for (const char* list : {"File MRU", "Place MRU"}) {
                    const auto key = hive.child(node, QLatin1String(list));
                    if (key && !officeList(context, sink, h, *key, path + QLatin1Char('\\') + QLatin1String(list), QStringLiteral("Office ") + QLatin1String(list), program)) return;
                }
            }
        }
    }
}

// RunMRU keeps "\1" after each command: the marker is not part of it.
std::pair<QString, QString> asRunCommand(const RegValueData& v) {
    QString text = valueText(v);
    if (text.endsWith(QLatin1String("\\1"))) text.chop(2);
    return {text, QString()};
}

std::pair<QString, QString> asPidl(const RegValueData& v) { return {joinItems(decodeItemList(ByteView(v.bytes), nullptr)), QString()}; }

// LastVisitedPidlMRU: the program's name (UTF-16, NUL), then the folder's item list.
std::pair<QString, QString> asProgramAndPidl(const RegValueData& v) {
    const ByteView data(v.bytes);
    return {joinItems(decodeItemList(data.sub(data.afterUtf16z(0)), nullptr)), data.utf16z(0)};
}

// The XP dialogs' lists: "C:\path\file.txt" and, for LastVisitedMRU, "program.exe\0C:\folder".
std::pair<QString, QString> asProgramAndFolder(const RegValueData& v) {
    const ByteView data(v.bytes);
    return {data.utf16z(data.afterUtf16z(0)), data.utf16z(0)};
}

void mruOf(TraceContext& context, TraceSink& sink, const UserHive& h) {
    const HiveFile& hive = *h.hive;
    const QString dialogs = kExplorer + QStringLiteral("\\ComDlg32");
    for (const char* openSave : {"OpenSavePidlMRU", "OpenSaveMRU"}) {
        const QString base = dialogs + QLatin1Char('\\') + QLatin1String(openSave);
        const bool pidl = QLatin1String(openSave) == QLatin1String("OpenSavePidlMRU");
        if (const auto node = keyAt(hive, base)) {
            for (const HiveFile::Named& ext : hive.children(*node)) {
                mruList(context, sink, h, QLatin1String(openSave), base + QLatin1Char('\\') + ext.name, ext.name, pidl ? asPidl : asText);
            }
        }
    }
    mruList(context, sink, h, QStringLiteral("LastVisitedPidlMRU"), dialogs + QStringLiteral("\\LastVisitedPidlMRU"), QString(), asProgramAndPidl);
    mruList(context, sink, h, QStringLiteral("LastVisitedPidlMRULegacy"), dialogs + QStringLiteral("\\LastVisitedPidlMRULegacy"), QString(),
            asProgramAndPidl);
    mruList(context, sink, h, QStringLiteral("LastVisitedMRU"), dialogs + QStringLiteral("\\LastVisitedMRU"), QString(), asProgramAndFolder);
    mruList(context, sink, h, QStringLiteral("RunMRU"), kExplorer + QStringLiteral("\\RunMRU"), QString(), asRunCommand);
    mruList(context, sink, h, QStringLiteral("TypedPaths"), kExplorer + QStringLiteral("\\TypedPaths"), QString(), asText, true);
    mruList(context, sink, h, QStringLiteral("WordWheelQuery"), kExplorer + QStringLiteral("\\WordWheelQuery"), QString(), asText);
    mruList(context, sink, h, QStringLiteral("TypedURLs"), QStringLiteral("Software\\Microsoft\\Internet Explorer\\TypedURLs"), QString(),
            asText, true);
    officeMru(context, sink, h);
}

// A BagMRU key: each numbered value is one shell item, the child of the key's own place; the
// subkey of the same number holds that child's children. Damaged hives can make a loop or a
// chain too deep for any real folder tree: both end the walk there.
void bagWalk(TraceContext& context, TraceSink& sink, const UserHive& h, HiveFile::Node node, const QString& keyPath,
             const std::vector<ShellItem>& parents, std::set<HiveFile::Node>& seen) {
    using namespace wf::shellbags;
    const HiveFile& hive = *h.hive;
    if (parents.size() > 64 || !seen.insert(node).second) return;
    const auto children = hive.children(node);
    for (const QString& name : mruOrder(hive, node)) {
        bool number = false;
        name.toUInt(&number);
        if (!number || context.stopped()) continue;
        const auto value = hive.value(node, name);
        if (!value) continue;
        QString problem;
        std::vector<ShellItem> items = decodeItemList(ByteView(value->bytes), &problem);
        const QString childPath = keyPath + QLatin1Char('\\') + name;
        if (items.empty()) {
            context.note(FindingKind::Damaged, QStringLiteral("shell item %1 in %2").arg(childPath, h.path),
                         problem.isEmpty() ? QStringLiteral("empty") : problem);
            continue;
        }
        std::vector<ShellItem> path = parents;
        path.insert(path.end(), items.begin(), items.end());
        const ShellItem& item = path.back();
        std::optional<HiveFile::Node> childKey;
        for (const HiveFile::Named& c : children) {
            if (c.name == name) childKey = c.node;
        }
        OwnedRecord<Count> r;
        r.text(Path, joinItems(path));
        r.text(ItemType, item.type);
        r.time(Modified, item.modified);
        r.time(Created, item.created);
        r.time(Accessed, item.accessed);
        r.text(ShortName, item.shortName);
        if (item.mftEntry) r.integer(MftEntry, *item.mftEntry);
        if (childKey) {
            if (const auto slot = hive.value(*childKey, QStringLiteral("NodeSlot")); slot && slot->bytes.size() >= 4) {
                r.integer(Slot, ByteView(slot->bytes).u32(0));
            }
        }
        r.text(BagPath, childPath.section(QStringLiteral("BagMRU"), 1).prepend(QStringLiteral("BagMRU")));
        r.time(KeyWritten, keyTime(hive, childKey.value_or(node)));
        if (!context.deliver(sink, userProvenance(*h.user, h.path, childPath), r.values())) return;
        if (childKey) bagWalk(context, sink, h, *childKey, childPath, path, seen);
    }
}

void shellBagsOf(TraceContext& context, TraceSink& sink, const UserHive& h, bool usrClass) {
    const QStringList roots = usrClass ? QStringList{QStringLiteral("Local Settings\\Software\\Microsoft\\Windows\\Shell\\BagMRU"),
                                                     QStringLiteral("Wow6432Node\\Local Settings\\Software\\Microsoft\\Windows\\Shell\\BagMRU")}
                                       : QStringList{QStringLiteral("Software\\Microsoft\\Windows\\Shell\\BagMRU"),
                                                     QStringLiteral("Software\\Microsoft\\Windows\\ShellNoRoam\\BagMRU")};
    for (const QString& rootPath : roots) {
        if (const auto root = keyAt(*h.hive, rootPath)) {
            std::set<HiveFile::Node> seen;
            bagWalk(context, sink, h, *root, rootPath, {}, seen);
        }
    }
}

// Runs `each` over every user's hive of that kind, contained.
void forEachUserHive(TraceContext& context, TraceSink& sink, UserHiveKind kind, const QString& what,
                     const std::function<void(TraceContext&, TraceSink&, const UserHive&)>& each) {
    const std::vector<UserHive> hives = userHives(context, kind);
    if (hives.empty()) return;
    runContainedSource(context, sink, what, [&](TraceContext& c, TraceSink& s) {
        for (const UserHive& h : hives) {
            if (c.stopped()) return;
            each(c, s, h);
        }
    });
}

}  // namespace

void windowsUserAssist(TraceContext& context, TraceSink& sink) {
    forEachUserHive(context, sink, UserHiveKind::NtUser, QStringLiteral("UserAssist"), userAssistOf);
}

void windowsRecentDocs(TraceContext& context, TraceSink& sink) {
    forEachUserHive(context, sink, UserHiveKind::NtUser, QStringLiteral("RecentDocs"), recentDocsOf);
}

void windowsMru(TraceContext& context, TraceSink& sink) {
    forEachUserHive(context, sink, UserHiveKind::NtUser, QStringLiteral("MRU lists"), mruOf);
}

void windowsShellBags(TraceContext& context, TraceSink& sink) {
    forEachUserHive(context, sink, UserHiveKind::NtUser, QStringLiteral("ShellBags"),
                    [](TraceContext& c, TraceSink& s, const UserHive& h) { shellBagsOf(c, s, h, false); });
    forEachUserHive(context, sink, UserHiveKind::UsrClass, QStringLiteral("ShellBags"),
                    [](TraceContext& c, TraceSink& s, const UserHive& h) { shellBagsOf(c, s, h, true); });
}

}  // namespace kestrova
