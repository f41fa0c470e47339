// The Windows history sources (b1 to b8) and the typed addresses (a2). Each reads fixed keys of
// the user's (or the machine's) registry through regAPI and the MRU decoders, or the Recent
// folder; the window and the report share them and differ only where the report's rules differ.
#include "core/readers/windows/windows_readers.h"

#include "core/common/text.h"
#include "core/frame/collector.h"
#include "core/frame/reader_host.h"
#include "core/registry/mru_decoders.h"

namespace kestrova {
namespace {

const QString kExplorer = QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer");
const QString kRunMru = kExplorer + QStringLiteral("\\RunMRU");
const QString kTypedPaths = kExplorer + QStringLiteral("\\TypedPaths");
const QString kWordWheel = kExplorer + QStringLiteral("\\WordWheelQuery");
const QString kOpenSaveMru = kExplorer + QStringLiteral("\\ComDlg32\\OpenSaveMRU\\*");
const QString kOpenSavePidl = kExplorer + QStringLiteral("\\ComDlg32\\OpenSavePidlMRU");
const QString kLastVisited = kExplorer + QStringLiteral("\\ComDlg32\\LastVisitedPidlMRU");
const QString kFirstFolder = kExplorer + QStringLiteral("\\ComDlg32\\FirstFolder");
const QString kUsbStor = QStringLiteral("SYSTEM\\CurrentControlSet\\Enum\\USBSTOR");
const QString kTypedUrls = QStringLiteral("Software\\Microsoft\\Internet Explorer\\TypedURLs");
const QString kHkcu = QStringLiteral("HKEY_CURRENT_USER\\");
const QString kSearchBar =
    QStringLiteral("Software\\Microsoft\\Internet Explorer\\Explorer Bars\\{C4EE31F3-4768-11D2-BE5C-00A0C9A83DA1}\\");
const QString kMruList = QStringLiteral("MRUList");
const QString kMruListEx = QStringLiteral("MRUListEx");

// The text values of a key as rows, filtered by the mode: "run" cuts the "\1" every RunMRU entry
// ends in (the report first keeps only entries with a "\"), "open" keeps full paths only.
void regList(const SourceContext& src, RowSink& sink, RootKey root, const QString& keyPath) {
    const RegApi& reg = src.reg();
    const QString names = reg.EnumValues(root, keyPath);
    if (names == kError440 || names.isEmpty()) return;
    for (const QString& name : splitList(names)) {
        if (trimBlanks(name).isEmpty() || trimBlanks(name) == kMruList) continue;
        const QString text = reg.QueryValue(root, keyPath, name);
        if (text.isEmpty() || text == kError440) continue;
        if (src.mode == QLatin1String(listmode::Run)) {
            // An entry too short to cut fails its statement and adds nothing, as any failing
            // statement in a reader does.
            if (src.side == Side::Report && !text.contains(QLatin1Char('\\'))) continue;
            if (text.size() < 2) continue;
            sink.add(text.left(text.size() - 2));
        } else if (src.mode == QLatin1String(listmode::Open)) {
            if (text.contains(QLatin1Char(':'))) sink.add(text);
        } else {
            sink.add(text);
        }
    }
}

// Values of a key, first to last without "MRUListEx", each decoded from the full path.
using Decoder = QString (*)(const RegApi&, const QString&, const QString&, const QString&);
void decoded(const SourceContext& src, RowSink& sink, const QString& keyPath, Decoder decode) {
    const QString fullPath = kHkcu + keyPath + QLatin1Char('\\');
    const QString locale = src.localeClass();
    for (const QString& name : splitList(src.reg().EnumValues(RootKey::CurrentUser, keyPath))) {
        if (name == kMruListEx) continue;
        const QString text = decode(src.reg(), fullPath, name, locale);
        if (!trimBlanks(text).isEmpty()) sink.add(text);
    }
}

}  // namespace

void recentDocumentRows(const SourceContext& src, RowSink& sink) {
    const QString value = src.reg().QueryValue(RootKey::CurrentUser, kShellFoldersKey, QStringLiteral("Recent"));
    const QString folder = value + QLatin1Char('\\');
    // The window keeps this folder until its next Recent Document listing.
    if (src.kept) src.kept->recent = folder;
    if (value == kError440 || value.isEmpty()) return;
    for (const DirEntry& entry : src.os.system().listFolder(folder)) {
        if (entry.isDotEntry() || entry.inFolderRange()) continue;
        if (entry.name == QLatin1String("index.dat")) continue;
        sink.add(folder + entry.name);
    }
}

void searchHistoryRows(const SourceContext& src, RowSink& sink) {
    if (src.versionTag == QLatin1String("95") || src.versionTag == QLatin1String("98")) {
        regList(src, sink, RootKey::CurrentUser, kExplorer + QStringLiteral("\\Doc Find Spec MRU"));
        regList(src, sink, RootKey::CurrentUser, kExplorer + QStringLiteral("\\FindComputerMRU"));
        return;
    }
    for (const char* key : {"ComputerNameMRU", "ContainingTextMRU", "filesNamedMRU"}) {
        regList(src, sink, RootKey::CurrentUser, kSearchBar + QLatin1String(key));
    }
    for (const char* id : {"5603", "5604", "5647"}) {
        regList(src, sink, RootKey::CurrentUser, QStringLiteral("Software\\Microsoft\\Search Assistant\\ACMru\\") + QLatin1String(id));
    }
    decoded(src, sink, kWordWheel, DecodeFirstString);
}

void runHistoryRows(const SourceContext& src, RowSink& sink) {
    regList(src, sink, RootKey::CurrentUser, kRunMru);
}

void openSaveRows(const SourceContext& src, RowSink& sink) {
    if (src.versionTag != QLatin1String("Vista")) {
        // The text list holds full paths and names alike; only full paths are rows.
        SourceContext open = src;
        open.mode = QLatin1String(listmode::Open);
        regList(open, sink, RootKey::CurrentUser, kOpenSaveMru);
        return;
    }
    const QStringList subkeys = splitList(src.reg().EnumKeys(RootKey::CurrentUser, kOpenSavePidl));
    // The key list comes reversed; walking it from its end restores the hive's order.
    for (auto it = subkeys.crbegin(); it != subkeys.crend(); ++it) {
        if (*it == QLatin1String("*")) continue;  // repeats the entries of all the others
        decoded(src, sink, kOpenSavePidl + QLatin1Char('\\') + *it, DecodeCountedString);
    }
}

void lastVisitedRows(const SourceContext& src, RowSink& sink) { decoded(src, sink, kLastVisited, DecodeFirstString); }

void usbStorageRows(const SourceContext& src, RowSink& sink) {
    const RegApi& reg = src.reg();
    // First to last of the reversed lists: reverse enumeration order, as the product lists.
    for (const QString& cls : splitList(reg.EnumKeys(RootKey::LocalMachine, kUsbStor))) {
        const QString classPath = kUsbStor + QLatin1Char('\\') + cls;
        for (const QString& instance : splitList(reg.EnumKeys(RootKey::LocalMachine, classPath))) {
            // Not tested: an instance without a readable FriendlyName shows "error440".
            sink.add(reg.QueryValue(RootKey::LocalMachine, classPath + QLatin1Char('\\') + instance,
                                    QStringLiteral("FriendlyName")));
        }
    }
}

void firstFolderRows(const SourceContext& src, RowSink& sink) { decoded(src, sink, kFirstFolder, DecodeFirstString); }

void typedPathRows(const SourceContext& src, RowSink& sink) {
    regList(src, sink, RootKey::CurrentUser, kTypedPaths);
}

void addressBarRows(const SourceContext& src, RowSink& sink) {
    const QString names = src.reg().EnumValues(RootKey::CurrentUser, kTypedUrls);
    if (names == kError440) return;
    for (const QString& name : splitList(names)) {
        if (trimBlanks(name).isEmpty()) continue;
        // Added untested: a value that is not text shows as "error440".
        sink.add(src.reg().QueryValue(RootKey::CurrentUser, kTypedUrls, name));
    }
}

namespace {

// The report's collectors take the mode they filter by as an argument.
SourceContext inMode(const SourceContext& src, const QString& mode) {
    SourceContext withMode = src;
    withMode.mode = mode;
    withMode.side = Side::Report;
    withMode.kept = nullptr;
    return withMode;
}

QStringList collect(RowSource source, const SourceContext& src, const QString& mode = QString()) {
    return collectRows(source, inMode(src, mode), OnError::EndReader);
}

}  // namespace

QStringList GetRecentDocuments(const SourceContext& src) { return collect(recentDocumentRows, src); }

QStringList GetSearchHistory(const SourceContext& src, const QString& mode) {
    return collect(searchHistoryRows, src, mode);
}

QStringList getRegList(const SourceContext& src, RootKey root, const QString& keyPath, const QString& mode) {
    QStringList rows;
    CollectingSink sink([&rows](const QString& row) { rows.append(row); }, OnError::EndReader);
    regList(inMode(src, mode), sink, root, keyPath);
    return rows;
}

QStringList MergeA(const QStringList& first, const QStringList& second) { return first + second; }

QStringList getRunHistory(const SourceContext& src) { return collect(runHistoryRows, src, QLatin1String(listmode::Run)); }

QStringList getOpenSave(const SourceContext& src) { return collect(openSaveRows, src); }

QStringList getLastVisit(const SourceContext& src) { return collect(lastVisitedRows, src); }

QStringList getUSBStorage(const SourceContext& src) { return collect(usbStorageRows, src); }

QStringList getFirstFolder(const SourceContext& src) { return collect(firstFolderRows, src); }

QStringList GetTypedPath(const SourceContext& src, const QString& mode) { return collect(typedPathRows, src, mode); }

QStringList GetIEAddressBar(const SourceContext& src) { return collect(addressBarRows, src); }

}  // namespace kestrova
