#include "support/mft_reference.h"

#include <QFile>
#include <libfsntfs.h>

namespace kestrova::test {
namespace {

constexpr uint32_t kFileName = 0x30, kData = 0x80;

QString utf8Name(libfsntfs_attribute_t* attribute) {
    size_t size = 0;
    if (libfsntfs_file_name_attribute_get_utf8_name_size(attribute, &size, nullptr) != 1 || size == 0) return QString();
    QByteArray bytes(static_cast<qsizetype>(size), '\0');
    if (libfsntfs_file_name_attribute_get_utf8_name(attribute, reinterpret_cast<uint8_t*>(bytes.data()), size, nullptr) != 1) return QString();
    return QString::fromUtf8(bytes.constData());
}

void readAttributes(libfsntfs_file_entry_t* entry, ReferenceEntry* out) {
    int count = 0;
    if (libfsntfs_file_entry_get_number_of_attributes(entry, &count, nullptr) != 1) return;
    int longest = -1;
    for (int i = 0; i < count; ++i) {
        libfsntfs_attribute_t* attribute = nullptr;
        if (libfsntfs_file_entry_get_attribute_by_index(entry, i, &attribute, nullptr) != 1) continue;
        uint32_t type = 0;
        libfsntfs_attribute_get_type(attribute, &type, nullptr);
        if (type == kData) {
            ++out->dataStreams;
            size_t nameSize = 0;
            uint64_t first = 0, last = 0;
            size64_t size = 0;
            const bool unnamed = libfsntfs_attribute_get_utf8_name_size(attribute, &nameSize, nullptr) == 1 && nameSize <= 1;
            const bool firstPiece = libfsntfs_attribute_get_data_vcn_range(attribute, &first, &last, nullptr) != 1 || first == 0;
            if (unnamed && firstPiece && libfsntfs_attribute_get_data_size(attribute, &size, nullptr) == 1) out->size = size;
        } else if (type == kFileName) {
            const QString name = utf8Name(attribute);
            out->names << name;
            if (longest < 0 || name.size() > out->names[longest].size()) {
                longest = static_cast<int>(out->names.size()) - 1;
                uint64_t parent = 0;
                libfsntfs_file_name_attribute_get_parent_file_reference(attribute, &parent, nullptr);
                out->parent = parent & 0xFFFFFFFFFFFFull;
                out->parentSequence = static_cast<uint16_t>(parent >> 48);
                libfsntfs_file_name_attribute_get_creation_time(attribute, &out->fnTimes[0], nullptr);
                libfsntfs_file_name_attribute_get_modification_time(attribute, &out->fnTimes[1], nullptr);
                libfsntfs_file_name_attribute_get_access_time(attribute, &out->fnTimes[2], nullptr);
                libfsntfs_file_name_attribute_get_entry_modification_time(attribute, &out->fnTimes[3], nullptr);
            }
        }
        libfsntfs_attribute_free(&attribute, nullptr);
    }
}

}  // namespace

std::optional<std::map<uint64_t, ReferenceEntry>> referenceMft(const QString& file, QString* why) {
    libfsntfs_mft_metadata_file_t* mft = nullptr;
    if (libfsntfs_mft_metadata_file_initialize(&mft, nullptr) != 1) return std::nullopt;
    if (libfsntfs_mft_metadata_file_open(mft, QFile::encodeName(file).constData(), LIBFSNTFS_OPEN_READ, nullptr) != 1) {
        *why = QStringLiteral("libfsntfs cannot open ") + file;
        libfsntfs_mft_metadata_file_free(&mft, nullptr);
        return std::nullopt;
    }
    std::map<uint64_t, ReferenceEntry> entries;
    uint64_t count = 0;
    libfsntfs_mft_metadata_file_get_number_of_file_entries(mft, &count, nullptr);
    for (uint64_t i = 0; i < count; ++i) {
        libfsntfs_file_entry_t* entry = nullptr;
        if (libfsntfs_mft_metadata_file_get_file_entry_by_index(mft, static_cast<int>(i), &entry, nullptr) != 1) continue;
        if (libfsntfs_file_entry_is_empty(entry, nullptr) != 1) {
            ReferenceEntry r;
            uint64_t reference = 0;
            libfsntfs_file_entry_get_file_reference(entry, &reference, nullptr);
            r.sequence = static_cast<uint16_t>(reference >> 48);
            r.inUse = libfsntfs_file_entry_is_allocated(entry, nullptr) == 1;
            r.folder = libfsntfs_file_entry_has_directory_entries_index(entry, nullptr) == 1;
            libfsntfs_file_entry_get_creation_time(entry, &r.siTimes[0], nullptr);
            libfsntfs_file_entry_get_modification_time(entry, &r.siTimes[1], nullptr);
            libfsntfs_file_entry_get_access_time(entry, &r.siTimes[2], nullptr);
            libfsntfs_file_entry_get_entry_modification_time(entry, &r.siTimes[3], nullptr);
            libfsntfs_file_entry_get_file_attribute_flags(entry, &r.attributes, nullptr);
            readAttributes(entry, &r);
            entries.emplace(i, r);
        }
        libfsntfs_file_entry_free(&entry, nullptr);
    }
    libfsntfs_mft_metadata_file_close(mft, nullptr);
    libfsntfs_mft_metadata_file_free(&mft, nullptr);
    return entries;
}

}  // namespace kestrova::test
