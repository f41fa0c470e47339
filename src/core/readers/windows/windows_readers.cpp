// The Windows history readers (b1 to b8) and the typed addresses (a2). Each reads fixed keys
// of the user's (or the machine's) registry through regAPI and the MRU decoders; the report-side
// collectors share the row sources and differ only where the report's rules differ.
#include "core/readers/windows/windows_readers.h"

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

// Whose rules a registry list follows: the window cuts every "run" entry, the report keeps only
// "run" entries with a "\" before it cuts them.
enum class Side { List, Report };

QStringList regListRows(const RegApi& reg, RootKey root, const QString& keyPath, const QString& mode, Side side) {
    QStringList rows;
    const QString names = reg.EnumValues(root, keyPath);
    if (names == kError440 || names.isEmpty()) return rows;
    for (const QString& name : splitList(names)) {
        if (name.trimmed().isEmpty() || name.trimmed() == kMruList) continue;
        const QString text = reg.QueryValue(root, keyPath, name);
        if (text.isEmpty() || text == kError440) continue;
        if (mode == QLatin1String("run")) {
            // RunMRU entries end in "\1". An entry too short to cut fails its statement and adds
            // nothing, as any failing statement in a reader does.
            if (side == Side::Report && !text.contains(QLatin1Char('\\'))) continue;
            if (text.size() < 2) continue;
            rows.append(text.left(text.size() - 2));
        } else if (mode == QLatin1String("open")) {
            if (text.contains(QLatin1Char(':'))) rows.append(text);
        } else {
            rows.append(text);
        }
    }
    return rows;
}

// Values of a key, first to last without "MRUListEx", each decoded from the full path.
template <typename Decoder>
QStringList decodedRows(const ReaderContext& ctx, const QString& keyPath, Decoder decode) {
    QStringList rows;
    const QString fullPath = kHkcu + keyPath + QLatin1Char('\\');
    const QString locale = ctx.localeClass();
    for (const QString& name : splitList(ctx.reg().EnumValues(RootKey::CurrentUser, keyPath))) {
        if (name == kMruListEx) continue;
        const QString text = decode(ctx.reg(), fullPath, name, locale);
        if (!text.trimmed().isEmpty()) rows.append(text);
    }
    return rows;
}

QStringList recentDocuments(const ReaderContext& ctx, QString* folderKept) {
    QStringList rows;
    const QString value = ctx.reg().QueryValue(RootKey::CurrentUser, kShellFoldersKey, QStringLiteral("Recent"));
    const QString folder = value + QLatin1Char('\\');
    if (folderKept) *folderKept = folder;
    if (value == kError440 || value.isEmpty()) return rows;
    for (const DirEntry& entry : ctx.os.system().listFolder(folder)) {
        if (entry.name == QLatin1String(".") || entry.name == QLatin1String("..")) continue;
        // A numeric range test, not a bit test: a folder that also carries the archive bit (48 and
        // up) passes as a file. Kept as the product has always listed.
        if (entry.attributes >= 16 && entry.attributes <= 31) continue;
        if (entry.name == QLatin1String("index.dat")) continue;
        rows.append(folder + entry.name);
        ctx.host.processEvents();
    }
    return rows;
}

QStringList searchHistory(const ReaderContext& ctx, const QString& mode, Side side) {
    const RegApi& reg = ctx.reg();
    QStringList rows;
    const QString& tag = ctx.state.windowsVersionTag;
    if (tag == QLatin1String("95") || tag == QLatin1String("98")) {
        rows += regListRows(reg, RootKey::CurrentUser, kExplorer + QStringLiteral("\\Doc Find Spec MRU"), mode, side);
        rows += regListRows(reg, RootKey::CurrentUser, kExplorer + QStringLiteral("\\FindComputerMRU"), mode, side);
        return rows;
    }
    for (const char* key : {"ComputerNameMRU", "ContainingTextMRU", "filesNamedMRU"}) {
        rows += regListRows(reg, RootKey::CurrentUser, kSearchBar + QLatin1String(key), mode, side);
    }
    for (const char* id : {"5603", "5604", "5647"}) {
        rows += regListRows(reg, RootKey::CurrentUser,
                            QStringLiteral("Software\\Microsoft\\Search Assistant\\ACMru\\") + QLatin1String(id), mode, side);
    }
    rows += decodedRows(ctx, kWordWheel, DecodeFirstString);
    return rows;
}

QStringList openSaveHistory(const ReaderContext& ctx, Side side) {
    if (ctx.state.windowsVersionTag != QLatin1String("Vista")) {
        return regListRows(ctx.reg(), RootKey::CurrentUser, kOpenSaveMru, QStringLiteral("open"), side);
    }
    QStringList rows;
    const QStringList subkeys = splitList(ctx.reg().EnumKeys(RootKey::CurrentUser, kOpenSavePidl));
    // The key list comes reversed; walking it from its end restores the hive's order.
    for (auto it = subkeys.crbegin(); it != subkeys.crend(); ++it) {
        if (*it == QLatin1String("*")) continue;  // repeats the entries of all the others
        rows += decodedRows(ctx, kOpenSavePidl + QLatin1Char('\\') + *it, DecodeCountedString);
    }
    return rows;
}

QStringList usbStorage(const ReaderContext& ctx) {
    QStringList rows;
    const RegApi& reg = ctx.reg();
    // First to last of the reversed lists: reverse enumeration order, as the product lists.
    for (const QString& cls : splitList(reg.EnumKeys(RootKey::LocalMachine, kUsbStor))) {
        const QString classPath = kUsbStor + QLatin1Char('\\') + cls;
        for (const QString& instance : splitList(reg.EnumKeys(RootKey::LocalMachine, classPath))) {
            // Not tested: an instance without a readable FriendlyName shows "error440".
            rows.append(reg.QueryValue(RootKey::LocalMachine, classPath + QLatin1Char('\\') + instance,
                                       QStringLiteral("FriendlyName")));
        }
    }
    return rows;
}

QStringList addressBar(const ReaderContext& ctx) {
    QStringList rows;
    const QString names = ctx.reg().EnumValues(RootKey::CurrentUser, kTypedUrls);
    if (names == kError440) return rows;
    for (const QString& name : splitList(names)) {
        if (name.trimmed().isEmpty()) continue;
        // Added untested: a value that is not text shows as "error440".
        rows.append(ctx.reg().QueryValue(RootKey::CurrentUser, kTypedUrls, name));
    }
    return rows;
}

void addRows(ReaderContext& ctx, const QStringList& rows) {
    for (const QString& row : rows) ctx.list.addRow(row);
}

// The shared frame of the Windows readers: panel 1, the mode (where the category sets one), the
// columns, the rows, and the count where the category writes it.
template <typename Fill>
void runReader(ReaderContext& ctx, const Category& category, const char* mode, Fill fill) {
    ctx.list.setPanel1(QString::fromLatin1(category.hint));
    if (mode) ctx.state.listMode = QString::fromLatin1(mode);
    startList(ctx, category);
    fill();
    if (category.writesCount) ctx.list.showCount();
}

}  // namespace

void readRecentDocuments(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, "recdoc", [&] { addRows(ctx, recentDocuments(ctx, &ctx.state.recentFolder)); });
}

void readSearchHistory(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, nullptr, [&] { addRows(ctx, searchHistory(ctx, ctx.state.listMode, Side::List)); });
}

void readRunHistory(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, "run", [&] {
        addRows(ctx, regListRows(ctx.reg(), RootKey::CurrentUser, kRunMru, ctx.state.listMode, Side::List));
    });
}

void readOpenSaveHistory(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, "open", [&] { addRows(ctx, openSaveHistory(ctx, Side::List)); });
}

void readLastVisited(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, nullptr, [&] { addRows(ctx, decodedRows(ctx, kLastVisited, DecodeFirstString)); });
}

void readUsbStorage(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, nullptr, [&] { addRows(ctx, usbStorage(ctx)); });
}

void readFirstFolder(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, nullptr, [&] { addRows(ctx, decodedRows(ctx, kFirstFolder, DecodeFirstString)); });
}

void readTypedPaths(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, nullptr, [&] {
        addRows(ctx, regListRows(ctx.reg(), RootKey::CurrentUser, kTypedPaths, ctx.state.listMode, Side::List));
    });
}

void readAddressBar(ReaderContext& ctx, const Category& category) {
    runReader(ctx, category, "url", [&] { addRows(ctx, addressBar(ctx)); });
}

QStringList GetRecentDocuments(const ReaderContext& ctx) { return recentDocuments(ctx, nullptr); }

QStringList GetSearchHistory(const ReaderContext& ctx, const QString& mode) {
    return searchHistory(ctx, mode, Side::Report);
}

QStringList getRegList(const ReaderContext& ctx, RootKey root, const QString& keyPath, const QString& mode) {
    return regListRows(ctx.reg(), root, keyPath, mode, Side::Report);
}

QStringList MergeA(const QStringList& first, const QStringList& second) { return first + second; }

QStringList getRunHistory(const ReaderContext& ctx) {
    return getRegList(ctx, RootKey::CurrentUser, kRunMru, QStringLiteral("run"));
}

QStringList getOpenSave(const ReaderContext& ctx) { return openSaveHistory(ctx, Side::Report); }

QStringList getLastVisit(const ReaderContext& ctx) { return decodedRows(ctx, kLastVisited, DecodeFirstString); }

QStringList getUSBStorage(const ReaderContext& ctx) { return usbStorage(ctx); }

QStringList getFirstFolder(const ReaderContext& ctx) { return decodedRows(ctx, kFirstFolder, DecodeFirstString); }

QStringList GetTypedPath(const ReaderContext& ctx, const QString& mode) {
    return getRegList(ctx, RootKey::CurrentUser, kTypedPaths, mode);
}

QStringList GetIEAddressBar(const ReaderContext& ctx) { return addressBar(ctx); }

}  // namespace kestrova
