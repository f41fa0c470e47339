// Shortcuts and Jump Lists of every user.
//
// A shortcut (.lnk) is read through liblnk: its target's path (the local path, else the network
// path, else the target's shell items), the target's times and size as the shortcut recorded
// them, the volume it was on, and the machine its link tracking names. The Recent folders hold
// one for every document a user opened through the shell.
//
// An automaticDestinations-ms Jump List is an OLE compound file (libolecf): each stream named by
// a hexadecimal number is a shortcut, and the DestList stream says for each entry number when it
// was last used, whether it is pinned and how often it was used. DestList layout (our own reading,
// after libyal's "Jump lists format" document and checked against the real Windows 7 sample):
//   header, 32 bytes: 0 format version (1: Windows 7/8, 3 or 4: Windows 10), 4 number of entries
//   entry:   0 checksum, 8 four droid GUIDs (64 bytes), 72 NetBIOS name (16 bytes),
//           88 entry number, 96 access count (float, version 1), 100 last access FILETIME,
//          108 pin status (-1: not pinned), version 1: 112 path size (characters), 114 path;
//           version 3+: 116 access count, 128 path size, 130 path, then 4 bytes.
// A customDestinations-ms file holds shortcuts one after another inside its categories; each
// shortcut is found by its header and read from there. What the file declares is read too, so
// that a file cut short says how many it lost (after libyal's "Jump lists format" document):
//   header, 12 bytes: 0 format version (2), 4 number of categories, 8 unknown
//   category: 0 type; 0 (custom): 4 name size in characters, 6 name (UTF-16), then the number of
//             entries (4 bytes); 1 (known): 4 known category id, no entries; 2 (tasks): 4 number
//             of entries. Entries: a 16-byte class identifier, then the shortcut. A category
//             ends with the signature 0xBABFFBAB.
#include <libolecf.h>
#include <liblnk.h>
#include <cstring>
#include <memory>

#include "traces/contained_source.h"
#include "traces/libyal.h"
#include "traces/windows/activity_decoders.h"
#include "traces/windows/evidence_files.h"
#include "traces/windows/shell_items.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace wf = windowsfields;

// Application ids of Jump Lists (the file name's first part) that Windows and common programs
// write, after the lists the forensic community keeps.
struct KnownAppId {
    const char* id;
    const char* name;
};
constexpr KnownAppId kAppIds[] = {
    {"1b4dd67f29cb1962", "Windows Explorer"},   {"5f7b5f1e01b83767", "Windows Explorer (Quick Access)"},
    {"f01b4d95cf55d32a", "Windows Explorer"},   {"7e4dca80246863e3", "Control Panel"},
    {"9b9cdc69c1c24e2b", "Notepad (64-bit)"},   {"918e0ecb43d17e23", "Notepad (32-bit)"},
    {"12dc1ea8e34b5a6", "Microsoft Paint"},     {"a7bd71699cd38d1c", "Microsoft Word 2010"},
    {"fb3b0dbfee58fac8", "Microsoft Word 365"}, {"a4a5324453625195", "Microsoft Word 2013"},
    {"12c6dbbfea5a41d1", "Microsoft Excel 2013"}, {"9839aec31243a928", "Microsoft Excel 2010"},
    {"d00655d2aa12ff6d", "Microsoft PowerPoint"}, {"5d696d521de238c3", "Google Chrome"},
    {"5f6ef6c68c5e8ae3", "Mozilla Firefox"},    {"28c8b86deab549a1", "Internet Explorer"},
    {"6824f4a902c78fbd", "Mozilla Firefox"},    {"9fda41b86ddcf1db", "VLC media player"},
    {"74d7f43c1561fc1e", "Windows Media Player"}, {"b8c29862d9f95832", "Microsoft Office InfoPath"},
    {"de48a32edcbe79e4", "Adobe Acrobat Reader"}, {"ee462c3b81abb6f6", "Adobe Reader X"},
    {"9e0b3f677a26bbc4", "Windows Explorer (Windows 8.1)"}, {"1bc392b8e104a00e", "Remote Desktop"},
    {"290532160612e071", "WinRAR"},             {"4cb9c5750d51c07f", "Windows Media Player"},
};

QString applicationOf(const QString& appId) {
    for (const KnownAppId& a : kAppIds) {
        if (appId.compare(QLatin1String(a.id), Qt::CaseInsensitive) == 0) return QString::fromLatin1(a.name);
    }
    return QString();
}


QString driveTypeName(uint32_t type) {
    switch (type) {
    case 1: return QStringLiteral("no root directory");
    case 2: return QStringLiteral("removable");
    case 3: return QStringLiteral("fixed");
    case 4: return QStringLiteral("remote");
    case 5: return QStringLiteral("CD-ROM");
    case 6: return QStringLiteral("RAM disk");
    default: return QStringLiteral("unknown");
    }
}

// Fills a record's shortcut fields from a shortcut's bytes; false when liblnk does not take them.
template <size_t N>
bool readShortcut(const QByteArray& bytes, OwnedRecord<N>& r, QString* why) {
    using namespace wf::link;
    const MemoryFile memory(bytes);
    if (!memory.ok()) return false;
    const auto file = openLibyal(memory.name(), liblnk_file_initialize, liblnk_file_open, liblnk_file_close, liblnk_file_free,
                                 LIBLNK_OPEN_READ);
    if (!file) {
        *why = QStringLiteral("not a shortcut");
        return false;
    }
    liblnk_file_t* raw = file.get();
    QString target = libyalText(raw, liblnk_file_get_utf8_local_path_size, liblnk_file_get_utf8_local_path);
    if (target.isEmpty()) target = libyalText(raw, liblnk_file_get_utf8_network_path_size, liblnk_file_get_utf8_network_path);
    if (target.isEmpty()) {
        // Shortcuts to places without a path (a control panel page, a library) name them by shell items.
        size_t size = 0;
        if (liblnk_file_get_link_target_identifier_data_size(raw, &size, nullptr) == 1 && size > 0 && size < (1 << 20)) {
            QByteArray items(static_cast<qsizetype>(size), '\0');
            if (liblnk_file_copy_link_target_identifier_data(raw, reinterpret_cast<uint8_t*>(items.data()), size, nullptr) == 1) {
                target = joinItems(decodeItemList(ByteView(items), nullptr));
            }
        }
    }
    if (target.isEmpty()) target = libyalText(raw, liblnk_file_get_utf8_relative_path_size, liblnk_file_get_utf8_relative_path);
    r.text(TargetPath, target);
    r.text(Arguments, libyalText(raw, liblnk_file_get_utf8_command_line_arguments_size, liblnk_file_get_utf8_command_line_arguments));
    uint64_t t = 0;
    if (liblnk_file_get_file_creation_time(raw, &t, nullptr) == 1) r.time(TargetCreated, utc::fromFileTime(static_cast<int64_t>(t)));
    if (liblnk_file_get_file_modification_time(raw, &t, nullptr) == 1) r.time(TargetModified, utc::fromFileTime(static_cast<int64_t>(t)));
    if (liblnk_file_get_file_access_time(raw, &t, nullptr) == 1) r.time(TargetAccessed, utc::fromFileTime(static_cast<int64_t>(t)));
    if (uint32_t size = 0; liblnk_file_get_file_size(raw, &size, nullptr) == 1) r.integer(TargetSize, size);
    if (uint32_t type = 0; liblnk_file_get_drive_type(raw, &type, nullptr) == 1) r.text(DriveType, driveTypeName(type));
    if (uint32_t serial = 0; liblnk_file_get_drive_serial_number(raw, &serial, nullptr) == 1) {
        r.text(DriveSerial, QStringLiteral("%1").arg(serial, 8, 16, QLatin1Char('0')).toUpper());
    }
    r.text(VolumeLabel, libyalText(raw, liblnk_file_get_utf8_volume_label_size, liblnk_file_get_utf8_volume_label));
    r.text(NetworkShare, libyalText(raw, liblnk_file_get_utf8_network_path_size, liblnk_file_get_utf8_network_path));
    r.text(MachineId, libyalText(raw, liblnk_file_get_utf8_machine_identifier_size, liblnk_file_get_utf8_machine_identifier));
    return true;
}


using OleItem = LibyalHandle<libolecf_item_t, libolecf_error_t, libolecf_item_free>;

QByteArray streamBytes(libolecf_item_t* item) {
    uint32_t size = 0;
    if (libolecf_item_get_size(item, &size, nullptr) != 1 || size > (64u << 20)) return QByteArray();
    QByteArray bytes(static_cast<qsizetype>(size), '\0');
    const ssize_t read = libolecf_stream_read_buffer(item, reinterpret_cast<uint8_t*>(bytes.data()), size, nullptr);
    bytes.resize(read > 0 ? static_cast<qsizetype>(read) : 0);
    return bytes;
}

void automaticList(TraceContext& context, TraceSink& sink, const EvidenceFile& f) {
    using namespace wf::jumplists;
    const MemoryFile memory(f.bytes);
    if (!memory.ok()) return;
    const auto file = openLibyal(memory.name(), libolecf_file_initialize, libolecf_file_open, libolecf_file_close,
                                 libolecf_file_free, LIBOLECF_OPEN_READ);
    if (!file) {
        context.note(FindingKind::Damaged, QStringLiteral("Jump List ") + f.path, QStringLiteral("not an OLE compound file"));
        return;
    }
    libolecf_file_t* raw = file.get();
    libolecf_item_t* rootRaw = nullptr;
    if (libolecf_file_get_root_item(raw, &rootRaw, nullptr) != 1) return;
    const OleItem root(rootRaw);
    std::vector<DestEntry> dest;
    std::vector<std::pair<QString, QByteArray>> streams;
    int count = 0;
    libolecf_item_get_number_of_sub_items(rootRaw, &count, nullptr);
    for (int i = 0; i < count; ++i) {
        libolecf_item_t* subRaw = nullptr;
        if (libolecf_item_get_sub_item(rootRaw, i, &subRaw, nullptr) != 1) continue;
        const OleItem sub(subRaw);
        size_t nameSize = 0;
        if (libolecf_item_get_utf8_name_size(subRaw, &nameSize, nullptr) != 1 || nameSize == 0 || nameSize > 256) continue;
        QByteArray name(static_cast<qsizetype>(nameSize), '\0');
        libolecf_item_get_utf8_name(subRaw, reinterpret_cast<uint8_t*>(name.data()), nameSize, nullptr);
        const QString streamName = QString::fromUtf8(name.constData());
        if (streamName == QLatin1String("DestList")) dest = readDestList(ByteView(streamBytes(subRaw)));
        else streams.emplace_back(streamName, streamBytes(subRaw));
    }
    const QString appId = f.name.section(QLatin1Char('.'), 0, 0);
    const Provenance from = userProvenance(*f.user, f.path, QStringLiteral("automaticDestinations"));
    for (const auto& [streamName, bytes] : streams) {
        bool hex = false;
        const uint32_t number = streamName.toUInt(&hex, 16);
        OwnedRecord<Count> r;
        QString why;
        if (!readShortcut(bytes, r, &why)) {
            context.note(FindingKind::Damaged, QStringLiteral("Jump List %1, stream %2").arg(f.path, streamName), why);
            continue;
        }
        r.text(ListPath, f.path);
        r.text(ListType, QStringLiteral("automatic"));
        r.text(AppId, appId);
        r.text(Application, applicationOf(appId));
        if (hex) {
            r.integer(EntryNumber, number);
            for (const DestEntry& e : dest) {
                if (e.number != number) continue;
                r.time(LastAccessed, e.lastAccess);
                r.boolean(Pinned, e.pinned);
                r.integer(AccessCount, e.accessCount);
                // The DestList keeps the path too, for a shortcut that names its target otherwise.
                if (r.values()[wf::link::TargetPath].absent()) r.text(wf::link::TargetPath, e.path);
            }
        }
        if (!context.deliver(sink, from, r.values())) return;
    }
}

void customList(TraceContext& context, TraceSink& sink, const EvidenceFile& f) {
    using namespace wf::jumplists;
    // A shortcut starts with its header size (0x4C) and the shell link class identifier.
    static const QByteArray kHeader = QByteArray::fromHex("4c0000000114020000000000c000000000000046");
    const QString appId = f.name.section(QLatin1Char('.'), 0, 0);
    const Provenance from = userProvenance(*f.user, f.path, QStringLiteral("customDestinations"));
    int entry = 0, refused = 0;
    QString firstRefusal;
    for (qsizetype at = f.bytes.indexOf(kHeader); at >= 0; at = f.bytes.indexOf(kHeader, at + 1)) {
        OwnedRecord<Count> r;
        QString why;
        if (!readShortcut(f.bytes.mid(at), r, &why)) {
            if (refused++ == 0) firstRefusal = QStringLiteral("the one at offset 0x%1: %2").arg(at, 0, 16).arg(why);
            continue;
        }
        r.text(ListPath, f.path);
        r.text(ListType, QStringLiteral("custom"));
        r.text(AppId, appId);
        r.text(Application, applicationOf(appId));
        r.integer(EntryNumber, ++entry);
        if (!context.deliver(sink, from, r.values())) return;
    }
    const QString what = QStringLiteral("Jump List ") + f.path;
    const DeclaredEntries declared = declaredEntries(f.bytes);
    if (refused > 0) context.note(FindingKind::Damaged, what, QStringLiteral("%1 of its shortcuts cannot be read (%2)").arg(refused).arg(firstRefusal));
    if (declared.entries > entry + refused) {
        context.note(FindingKind::Damaged, what,
                     QStringLiteral("it declares %1 shortcuts, %2 were read%3").arg(declared.entries).arg(entry)
                         .arg(declared.whole ? QString() : QStringLiteral("; the file ends inside a category (cut short)")));
    } else if (!declared.whole && refused == 0 && !f.bytes.isEmpty()) {
        context.note(FindingKind::Damaged, what, QStringLiteral("the file ends inside a category (cut short); %1 shortcuts were read").arg(entry));
    }
}

}  // namespace

std::vector<DestEntry> readDestList(ByteView list) {
    std::vector<DestEntry> entries;
    const uint32_t version = list.u32(0);
    const uint32_t count = list.u32(4);
    const bool v1 = version < 3;
    size_t at = 32;
    for (uint32_t i = 0; i < count && i < 100000; ++i) {
        const size_t pathSizeAt = at + (v1 ? 112 : 128);
        if (!list.has(pathSizeAt, 2)) break;
        const size_t pathBytes = size_t{list.u16(pathSizeAt)} * 2;
        const size_t end = pathSizeAt + 2 + pathBytes + (v1 ? 0 : 4);
        if (!list.has(at, end - at)) break;
        DestEntry e;
        e.number = list.u32(at + 88);
        e.lastAccess = utc::fromFileTime(static_cast<int64_t>(list.u64(at + 100)));
        e.pinned = list.i32(at + 108) != -1;
        if (v1) {
            float count1 = 0;
            const uint32_t bits = list.u32(at + 96);
            std::memcpy(&count1, &bits, 4);
            e.accessCount = count1 >= 0 && count1 < 1e9f ? static_cast<int64_t>(count1) : 0;
        } else {
            e.accessCount = list.u32(at + 116);
        }
        e.path = list.sub(pathSizeAt + 2, pathBytes).utf16z(0);
        entries.push_back(e);
        at = end;
    }
    return entries;
}

DeclaredEntries declaredEntries(const QByteArray& bytes) {
    static const QByteArray kFooter = QByteArray::fromHex("abfbbfba");
    const ByteView view(bytes);
    DeclaredEntries declared;
    const uint32_t categories = view.u32(4);
    if (!view.has(0, 12) || categories > 4096) return declared;
    size_t at = 12;
    for (uint32_t c = 0; c < categories; ++c) {
        if (!view.has(at, 8)) return declared;
        const uint32_t type = view.u32(at);
        size_t countAt = at + 4;
        if (type == 0) countAt = at + 6 + size_t{view.u16(at + 4)} * 2;
        if (type != 1 && !view.has(countAt, 4)) return declared;
        const uint32_t count = type == 1 ? 0 : view.u32(countAt);
        if (count > 65536) return declared;
        declared.entries += count;
        const qsizetype footer = bytes.indexOf(kFooter, static_cast<qsizetype>(at) + 4);
        if (footer < 0) return declared;
        at = static_cast<size_t>(footer) + 4;
    }
    declared.whole = true;
    return declared;
}

QStringList recentFolders(const UserProfile& user) {
    return {user.roaming + QStringLiteral("\\Microsoft\\Windows\\Recent"), user.folder + QStringLiteral("\\Recent"),
            user.roaming + QStringLiteral("\\Microsoft\\Office\\Recent")};
}

void windowsLnk(TraceContext& context, TraceSink& sink) {
    using namespace wf::lnk;
    std::vector<EvidenceFile> files;
    for (const UserProfile& user : context.users()) {
        for (const QString& folder : recentFolders(user)) {
            auto found = readFolderFiles(context, folder, QStringLiteral(".lnk"), &user);
            std::move(found.begin(), found.end(), std::back_inserter(files));
        }
    }
    if (files.empty()) return;
    runContainedSource(context, sink, QStringLiteral("shortcuts"), [&](TraceContext& c, TraceSink& s) {
        for (const EvidenceFile& f : files) {
            OwnedRecord<Count> r;
            QString why;
            if (!readShortcut(f.bytes, r, &why)) {
                c.note(FindingKind::Damaged, QStringLiteral("shortcut ") + f.path, why);
                continue;
            }
            r.text(LinkPath, f.path);
            if (f.times) {
                r.time(LinkCreated, utc::fromFileTime(f.times->created));
                r.time(LinkModified, utc::fromFileTime(f.times->modified));
            }
            if (!c.deliver(s, userProvenance(*f.user, f.path, QString()), r.values())) return;
        }
    });
}

void windowsJumpLists(TraceContext& context, TraceSink& sink) {
    std::vector<EvidenceFile> automatic, custom;
    for (const UserProfile& user : context.users()) {
        const QString base = recentFolders(user).front() + QLatin1Char('\\');
        auto a = readFolderFiles(context, base + QStringLiteral("AutomaticDestinations"), QStringLiteral(".automaticDestinations-ms"), &user);
        auto c = readFolderFiles(context, base + QStringLiteral("CustomDestinations"), QStringLiteral(".customDestinations-ms"), &user);
        std::move(a.begin(), a.end(), std::back_inserter(automatic));
        std::move(c.begin(), c.end(), std::back_inserter(custom));
    }
    if (automatic.empty() && custom.empty()) return;
    runContainedSource(context, sink, QStringLiteral("Jump Lists"), [&](TraceContext& c, TraceSink& s) {
        for (const EvidenceFile& f : automatic) automaticList(c, s, f);
        for (const EvidenceFile& f : custom) customList(c, s, f);
    });
}

}  // namespace kestrova
