#include "traces/windows/shell_items.h"

#include <algorithm>
#include <libfwsi.h>
#include <memory>

#include "traces/libyal.h"

namespace kestrova {
namespace {

struct KnownFolder {
    const char* guid;
    const char* name;
};
// Shell namespace classes and known folders (KNOWNFOLDERID), as Windows names them.
constexpr KnownFolder kKnownFolders[] = {
    {"20D04FE0-3AEA-1069-A2D8-08002B30309D", "My Computer"},
    {"450D8FBA-AD25-11D0-98A8-0800361B1103", "My Documents"},
    {"208D2C60-3AEA-1069-A2D7-08002B30309D", "My Network Places"},
    {"F02C1A0D-BE21-4350-88B0-7367FC96EF3C", "Network"},
    {"645FF040-5081-101B-9F08-00AA002F954E", "Recycle Bin"},
    {"59031A47-3F72-44A7-89C5-5595FE6B30EE", "Users Files"},
    {"26EE0668-A00A-44D7-9371-BEB064C98683", "Control Panel"},
    {"21EC2020-3AEA-1069-A2DD-08002B30309D", "Control Panel"},
    {"031E4825-7B94-4DC3-B131-E946B44C8DD5", "Libraries"},
    {"679F85CB-0220-4080-B29B-5540CC05AAB6", "Quick access"},
    {"22877A6D-37A1-461A-91B0-DBDA5AAEBC99", "Recent Places"},
    {"B4BFCC3A-DB2C-424C-B029-7FE99A87C641", "Desktop"},
    {"FDD39AD0-238F-46AF-ADB4-6C85480369C7", "Documents"},
    {"374DE290-123F-4565-9164-39C4925E467B", "Downloads"},
    {"088E3905-0323-4B02-9826-5D99428E115F", "Downloads"},
    {"D3162B92-9365-467A-956B-92703ACA08AF", "Documents"},
    {"33E28130-4E1E-4676-835A-98395C3BC3BB", "Pictures"},
    {"24AD3AD4-A569-4530-98E1-AB02F9417AA8", "Pictures"},
    {"4BD8D571-6D19-48D3-BE97-422220080E43", "Music"},
    {"3DFDF296-DBEC-4FB4-81D1-6A3438BCF4DE", "Music"},
    {"18989B1D-99B5-455B-841C-AB7C74E4DDFC", "Videos"},
    {"F86FA3AB-70D2-4FC7-9C99-FCBF05467F3A", "Videos"},
    {"0DDD015D-B06C-45D5-8C4C-F59713854639", "Pictures"},
    {"5E6C858F-0E22-4760-9AFE-EA3317B67173", "Profile"},
    {"1AC14E77-02E7-4E5D-B744-2EB1AE5198B7", "System"},
    {"D65231B0-B2F1-4857-A4CE-A8E7C6EA7D27", "SystemX86"},
    {"F38BF404-1D43-42F2-9305-67DE0B28FC23", "Windows"},
    {"905E63B6-C1BF-494E-B29C-65B732D3D21A", "ProgramFiles"},
    {"6D809377-6AF0-444B-8957-A3773F02200E", "ProgramFilesX64"},
    {"7C5A40EF-A0FB-4BFC-874A-C0F2E0B9FA8E", "ProgramFilesX86"},
    {"F7F1ED05-9F6D-47A2-AAAE-29D317C6F066", "ProgramFilesCommon"},
    {"62AB5D82-FDC1-4DC3-A9DD-070D1D495D97", "ProgramData"},
    {"F1B32785-6FBA-4FCF-9D55-7B8E7F157091", "LocalAppData"},
    {"3EB685DB-65F9-4CF6-A03A-E3EF65729F3D", "RoamingAppData"},
    {"A520A1A4-1780-4FF6-BD18-167343C5AF16", "LocalAppDataLow"},
    {"A77F5D77-2E2B-44C3-A6A2-ABA601054A51", "Programs"},
    {"0139D44E-6AFE-49F2-8690-3DAFCAE6FFB8", "CommonPrograms"},
    {"625B53C3-AB48-4EC1-BA1F-A1EF4146FC19", "StartMenu"},
    {"9E3995AB-1F9C-4F13-B827-48B24B6C7174", "User Pinned"},
    {"AE50C081-EBD2-438A-8655-8A092E34987A", "Recent"},
    {"DE61D971-5EBC-4F02-A3A9-6C82895E5C04", "AddNewPrograms"},
    {"9343812E-1C37-4A49-A12E-4B2D810D956B", "Search Home"},
    {"04731B67-D933-450A-90E6-4ACD2E9408FE", "Search Folder"},
    {"5399E694-6CE5-4D6C-8FCE-1D8870FDCBA0", "Control Panel Category"},
    {"871C5380-42A0-1069-A2EA-08002B30309D", "Internet Explorer"},
    {"E17D4FC0-5564-11D1-83F2-00A0C90DC849", "Search Results"},
    {"2559A1F1-21D7-11D4-BDAF-00C04F60B9F0", "Search"},
    {"7B0DB17D-9CD2-4A93-9733-46CC89022E7C", "Documents Library"},
    {"A8CDFF1C-4878-43BE-B5FD-F8091C1C60D0", "Documents"},
    {"3080F90D-D7AD-11D9-BD98-0000947B0257", "Show Desktop"},
    {"D20EA4E1-3957-11D2-A40B-0C5020524153", "Administrative Tools"},
    {"4234D49B-0245-4DF3-B780-3893943456E1", "Applications"},
    {"C57A6066-66A3-4D91-9EB9-41532179F0A5", "App Shortcuts"},
    {"1F4DE370-D627-11D1-BA4F-00A0C91EEDBA", "Computers and Devices"},
    {"35786D3C-B075-49B9-88DD-029876E11C01", "Portable Devices"},
    {"0AC0837C-BBF8-452A-850D-79D08E667CA7", "Computer Folder"},
    {"018D5C66-4533-4307-9B53-224DE2ED1FE6", "OneDrive"},
    {"BB06C0E4-D293-4F75-8A90-CB05B6477EEE", "System"},
    {"A990AE9F-A03B-4E80-94BC-9912D7504104", "Pictures Library"},
    {"2112AB0A-C86A-4FFE-A368-0DE96E47012E", "Music Library"},
    {"491E922F-5643-4AF4-A7EB-4E7A138D8174", "Videos Library"},
    {"7B81BE6A-CE2B-4676-A29E-EB907A5126C5", "Programs and Features"},
    {"A8A91A66-3A7D-4424-8D24-04E180695C7A", "Devices and Printers"},
    {"8E908FC9-BECC-40F6-915B-F4CA0E70D03D", "Network and Sharing Center"},
    {"BB64F8A7-BEE7-4E1A-AB8D-7D8273F7FDB6", "Action Center"},
    {"E2E7934B-DCE5-43C4-9576-7FE4F75E7480", "Date and Time"},
    {"C555438B-3C23-4769-A71F-B6D3D9B6053A", "Display"},
    {"D555645E-D4F8-4C29-A827-D93C859C4F2A", "Ease of Access Center"},
    {"60632754-C523-4B62-B45C-4172DA012619", "User Accounts"},
    {"36EEF7DB-88AD-4E81-AD49-0E313F0C35F8", "Windows Update"},
    {"4026492F-2F69-46B8-B9BF-5654FC07E423", "Windows Firewall"},
    {"ED834ED6-4B5A-4BFE-8F11-A626DCB6A921", "Personalization"},
    {"F2DDFC82-8F12-4CDD-B7DC-D4FE1425AA4D", "Sound"},
    {"025A5937-A6BE-4686-A844-36FE4BEC8B6D", "Power Options"},
    // Windows 10 and 11: the folders of This PC, and the known folders of the shell's namespace.
    {"3ADD1653-EB32-4CB0-BBD7-DFA0ABB5ACCA", "Pictures"},
    {"A0953C92-50DC-43BF-BE83-3742FED03C9C", "Videos"},
    {"1CF1260C-4DD0-4EBB-811F-33C572699FDE", "Music"},
    {"0DB7E03F-FC29-4DC6-9020-FF41B59E513A", "3D Objects"},
    {"31C0DD25-9439-4F12-BF41-7FF4EDA38722", "3D Objects"},
    {"F42EE2D3-909F-4907-8871-4C22FC0BF756", "Documents"},
    {"7D83EE9B-2244-4E70-B1F5-5393042AF1E4", "Downloads"},
    {"A0C69A99-21C8-4671-8703-7934162FCF1D", "Music"},
    {"35286A68-3C57-41A1-BBB1-0EAE73D76C95", "Videos"},
    {"F3CE0F7C-4901-4ACC-8648-D5D44B04EF8F", "Users Files"},
    {"0762D272-C50A-4BB0-A382-697DCD729B80", "Users"},
    {"DFDF76A2-C82A-4D63-906A-5644AC457385", "Public"},
    {"4336A54D-038B-4685-AB02-99BB52D3FB8B", "Public"},
    {"C4AA340D-F20F-4863-AFEF-F87EF2E6BA25", "Public Desktop"},
    {"ED4824AF-DCE4-45A8-81E2-FC7965083634", "Public Documents"},
    {"3D644C9B-1FB8-4F30-9B45-F670235F79C0", "Public Downloads"},
    {"3214FAB5-9757-4298-BB61-92A9DEAA44FF", "Public Music"},
    {"B6EBFB86-6907-413C-9AF7-4FC2ABF07CC5", "Public Pictures"},
    {"2400183A-6185-49FB-A2D8-4A392A602BA3", "Public Videos"},
    {"1777F761-68AD-4D8A-87BD-30B759FA33DD", "Favorites"},
    {"BFB9D5E0-C6A9-404C-B2B2-AE6DB6AF4968", "Links"},
    {"56784854-C6CB-462B-8169-88E350ACB882", "Contacts"},
    {"4C5C32FF-BB9D-43B0-B5B4-2D72E54EAAA4", "Saved Games"},
    {"7D1D3A04-DEBB-4115-95CF-2F29DA2920DA", "Searches"},
    {"1B3EA5DC-B587-4786-B4EF-BD1DC332AEAE", "Libraries"},
    {"A302545D-DEFF-464B-ABE8-61C8648D939B", "Libraries"},
    {"8983036C-27C0-404B-8F08-102D10DCFD74", "SendTo"},
    {"B97D20BB-F46A-4C97-BA10-5E3608430854", "Startup"},
    {"82A5EA35-D9CD-47C5-9629-E15D2F714E6E", "Common Startup"},
    {"A4115719-D62E-491D-AA7C-E74B8BE3B067", "Common Start Menu"},
    {"724EF170-A42D-4FEF-9F26-B60E846FBA4F", "Administrative Tools"},
    {"D0384E7D-BAC3-4797-8F14-CBA229B392B5", "Common Administrative Tools"},
    {"DE974D24-D9C6-4D3E-BF91-F4455120B917", "Common Files (x86)"},
    {"6365D5A7-0F0D-45E5-87F6-0DA56B6A4F7D", "Common Files (x64)"},
    {"C1BAE2D0-10DF-4334-BEDD-7AA20B227A9D", "Common OEM Links"},
    {"B94237E7-57AC-4347-9151-B08C6C32D1F7", "Common Templates"},
    {"A63293E8-664E-48DB-A079-DF759E0509F7", "Templates"},
    {"352481E8-33BE-4251-BA85-6007CAEDCF9D", "Temporary Internet Files"},
    {"2B0F765D-C0E9-4171-908E-08A611B84FF6", "Cookies"},
    {"D9DC8A3B-B784-432E-A781-5A1130A75963", "History"},
    {"C5ABBF53-E17F-4121-8900-86626FC2C973", "Network Shortcuts"},
    {"9274BD8D-CFD1-41C3-B35E-B13F55A758F4", "Printer Shortcuts"},
    {"8AD10C31-2ADB-4296-A8F7-E4701232C972", "Resources"},
    {"2A00375E-224C-49DE-B8D1-440DF7EF3DDC", "Localized Resources"},
    {"5CD7AEE2-2219-4A67-B85D-6C9CE15660CB", "Programs (user)"},
    {"BCBD3057-CA5C-4622-B42D-BC56DB0AE516", "Common Programs (user)"},
    {"A305CE99-F527-492B-8B1A-7E76FA98D6E4", "Installed Updates"},
    {"DF7266AC-9274-4867-8D55-3BD661DE872D", "Programs and Features"},
    {"1E87508D-89C2-42F0-8A7E-645A0F50CA58", "Applications"},
    {"A3918781-E5F2-4890-B3D9-A7E54332328C", "Application Shortcuts"},
    {"008CA0B1-55B4-4C56-B8A8-4DE4B299D3BE", "Account Pictures"},
    {"AB5FB87B-7CE2-4F83-915D-550846C9537B", "Camera Roll"},
    {"767E6811-49CB-4273-87C2-20F355E1085B", "Camera Roll (OneDrive)"},
    {"B7BEDE81-DF94-4682-A7D8-57A52620B86F", "Screenshots"},
    {"C870044B-F49E-4126-A9C3-B52A1FF411E8", "Ringtones"},
    {"A52BBA46-E9E1-435F-B3D9-28DAA648C0F6", "OneDrive"},
    {"24D89E24-2F19-4534-9DDE-6A6671FBB8FE", "OneDrive Documents"},
    {"339719B5-8C47-4894-94C2-D8F77ADD44A6", "OneDrive Pictures"},
    {"B2C5E279-7ADD-439F-B28C-C41FE1BBF672", "AppData Desktop"},
    {"7BE16610-1F7F-44AC-BFF0-83E15F2FFCA1", "AppData Documents"},
    {"7CFBEFBC-DE1F-45AA-B843-A542AC536CC9", "AppData Favorites"},
    {"559D40A3-A036-40FA-AF61-84CB430A4D34", "AppData ProgramData"},
    {"ED228FDF-9EA8-4870-83B1-96B02CFE0D52", "My Games"},
    {"CAC52C1A-B53D-4EDC-92D7-6B2E8AC19434", "Games"},
    {"9E52AB10-F80D-49DF-ACB8-4330F5687855", "Temporary Burn Folder"},
    {"B5947D7F-B489-4FDE-9E77-23780CC610D1", "Virtual Machines"},
    {"DE92C1C7-837F-4F69-A3BB-86E631204A23", "Playlists"},
    {"69D2CF90-FC33-4FB7-9A0C-EBB0F0FCB43C", "Slide Shows"},
    {"00BCFC5A-ED94-4E48-96A1-3F6217F21990", "Roaming Tiles"},
};

QString nameOrGuid(const QString& guid) {
    const QString known = knownFolderName(guid);
    return known.isEmpty() ? guid : known;
}


void readFileEntry(libfwsi_item_t* item, ShellItem& out) {
    out.name = libyalText(item, libfwsi_file_entry_get_utf8_name_size, libfwsi_file_entry_get_utf8_name);
    uint32_t fat = 0;
    if (libfwsi_file_entry_get_modification_time(item, &fat, nullptr) == 1) out.modified = fromFatDateTime(fat);
    uint32_t attributes = 0;
    libfwsi_file_entry_get_file_attribute_flags(item, &attributes, nullptr);
    out.type = (attributes & 0x10) ? QStringLiteral("folder") : QStringLiteral("file");
    int blocks = 0;
    libfwsi_item_get_number_of_extension_blocks(item, &blocks, nullptr);
    for (int i = 0; i < blocks; ++i) {
        libfwsi_extension_block_t* block = nullptr;
        uint32_t signature = 0;
        if (libfwsi_item_get_extension_block(item, i, &block, nullptr) != 1 ||
            libfwsi_extension_block_get_signature(block, &signature, nullptr) != 1 || signature != 0xBEEF0004u) {
            continue;
        }
        if (uint32_t t = 0; libfwsi_file_entry_extension_get_creation_time(block, &t, nullptr) == 1) out.created = fromFatDateTime(t);
        if (uint32_t t = 0; libfwsi_file_entry_extension_get_access_time(block, &t, nullptr) == 1) out.accessed = fromFatDateTime(t);
        if (uint64_t ref = 0; libfwsi_file_entry_extension_get_file_reference(block, &ref, nullptr) == 1 && ref != 0) {
            out.mftEntry = static_cast<int64_t>(ref & 0xFFFFFFFFFFFFull);
        }
        size_t size = 0;
        if (libfwsi_file_entry_extension_get_utf8_long_name_size(block, &size, nullptr) == 1 && size > 1 && size <= 65536) {
            QByteArray buffer(static_cast<qsizetype>(size), '\0');
            if (libfwsi_file_entry_extension_get_utf8_long_name(block, reinterpret_cast<uint8_t*>(buffer.data()), size, nullptr) == 1) {
                const QString longName = QString::fromUtf8(buffer.constData());
                if (!longName.isEmpty() && longName != out.name) {
                    out.shortName = out.name;
                    out.name = longName;
                }
            }
        }
    }
}

// The display name (System.ItemNameDisplay: format {B725F130-47EF-101A-A5F1-02608C9EEBAC}, id 10)
// from a serialized property store ("1SPS") inside an item. Each property: size (4), id (4), a
// reserved byte, the type (2: 0x1F for a UTF-16 text), 2 bytes, the text's length (4) and text.
QString displayNameOf(ByteView raw) {
    static const QByteArray kStore = QByteArray("1SPS") + QByteArray::fromHex("30f125b7ef471a10a5f102608c9eebac");
    const QByteArray bytes = raw.bytes(0, raw.size());
    for (qsizetype found = bytes.indexOf(kStore); found >= 0; found = bytes.indexOf(kStore, found + 1)) {
        for (size_t p = static_cast<size_t>(found) + 20, n = 0; raw.has(p, 17) && n < 64; ++n) {
            const uint32_t size = raw.u32(p);
            if (size < 17 || !raw.has(p, size)) break;
            if (raw.u32(p + 4) == 10 && raw.u16(p + 9) == 0x1F) {
                const QString name = raw.sub(p + 17, size - 17).utf16z(0);
                if (!name.isEmpty()) return name;
            }
            p += size;
        }
    }
    return QString();
}

// The Control Panel's category view, by the number its items carry.
QString controlPanelCategory(uint32_t id) {
    static const char* const kNames[] = {"All Control Panel Items", "Appearance and Personalization", "Hardware and Sound",
                                         "Network and Internet", "Sounds, Speech, and Audio Devices", "System and Security",
                                         "Clock, Language, and Region", "Ease of Access", "Programs", "User Accounts",
                                         "Security Center", "Mobile PC"};
    return id < std::size(kNames) ? QString::fromLatin1(kNames[id]) : QStringLiteral("Control Panel category %1").arg(id);
}

}  // namespace

// An item libfwsi has no name for: a GUID where Windows puts one in such items (after the class
// byte and a padding byte, or after a 0x0E-byte header in the property view items), else its class.
void nameUnnamedItem(ByteView raw, uint8_t classType, ShellItem& out) {
    out.type = QStringLiteral("unknown");
    // Windows 10's drive items of the user's view: signature 0xF5A6B710 at 6, then "/D:\".
    if (raw.u32(6) == 0xF5A6B710u && raw.u8(12) == '/') {
        // The drive's letter, as much of "D:\" as the item holds (a damaged one names its class).
        const QByteArray letter = raw.bytes(13, 4);
        out.name = QString::fromLatin1(letter.constData(), static_cast<qsizetype>(qstrnlen(letter.constData(), static_cast<uint>(letter.size()))));
        out.type = QStringLiteral("drive");
        if (!out.name.isEmpty()) return;
    }
    if (const QString name = displayNameOf(raw); !name.isEmpty()) {
        out.name = name;
        out.type = QStringLiteral("folder");
        return;
    }
    // Items that wrap a file entry (delegate items) carry its 0xBEEF0004 extension block, and
    // in it the long name. The name's
    // offset in the block grows with the block's version (libfwsi's shell item document):
    // 3: 20, 7: 38, 8: 42, 9: 46.
    for (size_t at = 4; at + 4 <= raw.size(); ++at) {
        if (raw.u32(at) != 0xBEEF0004u) continue;
        const size_t block = at - 4;
        const uint16_t version = raw.u16(block + 2);
        const size_t nameAt = block + (version >= 9 ? 46 : version >= 8 ? 42 : version >= 7 ? 38 : 20);
        const QString name = raw.sub(block, raw.u16(block)).utf16z(nameAt - block);
        if (!name.isEmpty()) {
            out.name = name;
            out.type = QStringLiteral("folder");
            out.created = fromFatDateTime(raw.u32(block + 8));
            out.accessed = fromFatDateTime(raw.u32(block + 12));
            // A delegate item (the user's folders of Windows 8 and later) wraps a file entry
            // after "CFSF" at 6: its size at 10, class at 12, file size at 14, the DOS date and
            // time it was modified at 18 (libfwsi's shell item document); libfwsi gives none.
            if (raw.startsWith("CFSF", 6)) out.modified = fromFatDateTime(raw.u32(18));
            return;
        }
    }
    for (const size_t at : {size_t{4}, size_t{14}}) {
        if (!raw.has(at, 16)) continue;
        const QString guid = raw.guidText(at);
        const QString known = knownFolderName(guid);
        if (!known.isEmpty()) {
            out.name = known;
            out.type = QStringLiteral("known folder");
            return;
        }
    }
    out.name = QStringLiteral("[item class 0x%1]").arg(classType, 2, 16, QLatin1Char('0'));
}

std::optional<UtcMicros> fromFatDateTime(uint32_t value) {
    const uint32_t date = value & 0xFFFF, time = value >> 16;
    if (date == 0) return std::nullopt;
    const int day = date & 0x1F, month = (date >> 5) & 0x0F, year = 1980 + static_cast<int>(date >> 9);
    const int seconds = (time & 0x1F) * 2, minutes = (time >> 5) & 0x3F, hours = (time >> 11) & 0x1F;
    if (day < 1 || day > 31 || month < 1 || month > 12 || hours > 23 || minutes > 59 || seconds > 59) return std::nullopt;
    const int64_t days = daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day));
    return ((days * 24 + hours) * 60 + minutes) * 60 * int64_t{1000000} + int64_t{seconds} * 1000000;
}

QString knownFolderName(const QString& guid) {
    QString bare = guid.trimmed().toUpper();
    if (bare.startsWith(QLatin1Char('{'))) bare = bare.mid(1, bare.size() - 2);
    for (const KnownFolder& k : kKnownFolders) {
        if (bare == QLatin1String(k.guid)) return QString::fromLatin1(k.name);
    }
    return QString();
}

std::vector<ShellItem> decodeItemList(ByteView bytes, QString* problem) {
    std::vector<ShellItem> items;
    libfwsi_item_list_t* raw = nullptr;
    if (libfwsi_item_list_initialize(&raw, nullptr) != 1) return items;
    const LibyalHandle<libfwsi_item_list_t, libfwsi_error_t, libfwsi_item_list_free> list(raw);
    // 1252: the code page of the 8.3 names of western systems; a wrong guess keeps the long name.
    if (bytes.size() < 2 || libfwsi_item_list_copy_from_byte_stream(raw, bytes.data(), bytes.size(), 1252, nullptr) != 1) {
        if (problem) *problem = QStringLiteral("not a shell item list");
        return items;
    }
    int count = 0;
    libfwsi_item_list_get_number_of_items(raw, &count, nullptr);
    size_t at = 0;
    for (int i = 0; i < count; ++i) {
        libfwsi_item_t* item = nullptr;
        if (libfwsi_item_list_get_item(raw, i, &item, nullptr) != 1) {
            if (problem) *problem = QStringLiteral("item %1 cannot be read").arg(i + 1);
            break;
        }
        ShellItem out;
        int type = 0;
        uint8_t classType = 0;
        libfwsi_item_get_type(item, &type, nullptr);
        libfwsi_item_get_class_type(item, &classType, nullptr);
        const ByteView itemBytes = bytes.sub(at, bytes.u16(at));
        at += bytes.u16(at);
        switch (type) {
        case LIBFWSI_ITEM_TYPE_ROOT_FOLDER: {
            uint8_t guid[16];
            out.type = QStringLiteral("root folder");
            if (libfwsi_root_folder_get_shell_folder_identifier(item, guid, 16, nullptr) == 1) out.name = nameOrGuid(ByteView(guid, 16).guidText(0));
            break;
        }
        case LIBFWSI_ITEM_TYPE_VOLUME: {
            out.type = QStringLiteral("drive");
            out.name = libyalText(item, libfwsi_volume_get_utf8_name_size, libfwsi_volume_get_utf8_name);
            uint8_t guid[16];
            if (out.name.isEmpty() && libfwsi_volume_get_shell_folder_identifier(item, guid, 16, nullptr) == 1 &&
                std::any_of(guid, guid + 16, [](uint8_t b) { return b != 0; })) {
                out.name = nameOrGuid(ByteView(guid, 16).guidText(0));
            }
            // Class 0x2E items ("CLSID" places under My Computer: Desktop, Downloads) carry their
            // GUID where libfwsi finds no volume name.
            if (out.name.isEmpty()) {
                nameUnnamedItem(itemBytes, classType, out);
                if (out.type == QLatin1String("unknown")) out.type = QStringLiteral("drive");
            }
            break;
        }
        case LIBFWSI_ITEM_TYPE_FILE_ENTRY:
            readFileEntry(item, out);
            break;
        case LIBFWSI_ITEM_TYPE_NETWORK_LOCATION:
            out.type = QStringLiteral("network");
            out.name = libyalText(item, libfwsi_network_location_get_utf8_location_size, libfwsi_network_location_get_utf8_location);
            break;
        case LIBFWSI_ITEM_TYPE_COMPRESSED_FOLDER:
            out.type = QStringLiteral("zip folder");
            out.name = itemBytes.utf16z(0x24);
            break;
        case LIBFWSI_ITEM_TYPE_CONTROL_PANEL_CATEGORY:
            // The category's number at offset 8.
            out.type = QStringLiteral("control panel");
            out.name = controlPanelCategory(itemBytes.u32(8));
            break;
        case LIBFWSI_ITEM_TYPE_CONTROL_PANEL:
        case LIBFWSI_ITEM_TYPE_CONTROL_PANEL_CPL_FILE:
            nameUnnamedItem(itemBytes, classType, out);
            if (out.name.startsWith(QLatin1Char('['))) out.name = QStringLiteral("Control Panel item");
            out.type = QStringLiteral("control panel");
            break;
        default:
            nameUnnamedItem(itemBytes, classType, out);
            break;
        }
        if (out.name.isEmpty()) out.name = QStringLiteral("[item class 0x%1]").arg(classType, 2, 16, QLatin1Char('0'));
        items.push_back(std::move(out));
    }
    return items;
}

QString joinItems(const std::vector<ShellItem>& items) {
    QString path;
    for (const ShellItem& item : items) {
        if (!path.isEmpty() && !path.endsWith(QLatin1Char('\\'))) path += QLatin1Char('\\');
        path += item.name;
    }
    return path;
}

}  // namespace kestrova
