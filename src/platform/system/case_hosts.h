// The hosts of a case: each folder, image or collection named (on the command line: --root,
// --image, --collection, as often as needed) or found in a case folder (--case DIR, the window's
// File > Open Case...) is one host, examined as a system of its own and named by its computer's
// name (the SYSTEM hive's ComputerName), else by its file's name.
#pragma once

#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "platform/system/environment.h"

namespace kestrova {

struct Evidence {
    enum class Is { Folder, Image, Collection };
    Is is = Is::Folder;
    QString path;
};

// The evidence a case folder holds, in name order: disk images by their names (.E01, .vhdx, .vmdk,
// .qcow2, .dd, .raw, .img, .001, ...), ZIPs, and folders that hold a collection or a Windows
// volume. nullopt with why when the folder cannot be read or holds none.
std::optional<std::vector<Evidence>> caseFolder(const QString& folder, QString* why);

struct Host {
    QString name;
    std::unique_ptr<Environment> env;
};

// Opens each evidence as a host (partition: --partition, for images); names are made unique by
// the evidence's file name where two computers share one.
std::vector<Host> openHosts(const std::vector<Evidence>& evidence, int partition, bool replayLogs);

// A host's name as a file name: what a file system refuses in a name is replaced by "_".
QString hostFileName(const QString& host);

}  // namespace kestrova
