// A triage collection chosen as the evidence: a ZIP (plain, KAPE, Velociraptor), a KAPE target
// folder (or a Velociraptor collection unpacked), or a KAPE container (.vhdx, .vhd). Each is
// recognised by where its volume lies (collection_layout.h) and served as an examined volume whose
// C:\ is the collected volume's root, so that nothing above the volume knows it is a collection.
#pragma once

#include <QString>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/system/image_source.h"
#include "platform/volume/volume.h"
#include "platform/volume/zip_volume.h"

namespace kestrova {

struct CollectionSource {
    std::shared_ptr<Volume> volume{};  // the collected volume examined; nullptr when there is none
    QString problem{};               // why there is none, in the user's words
    // What info says of it, in order: its kind, the tool and time where recorded, the volumes
    // and shadow copies it holds, members refused.
    std::vector<std::pair<QString, QString>> facts{};
    std::shared_ptr<ZipVolume> zip{};    // the ZIP, when it is one (its shadow copies are siblings)
    std::optional<ImageSource> image{};  // the container's reader child, when it is a .vhdx or .vhd
};

// tempFolder: the program's private temporary folder (files taken out of a ZIP or container).
CollectionSource openCollection(const QString& path, const QString& tempFolder);

}  // namespace kestrova
