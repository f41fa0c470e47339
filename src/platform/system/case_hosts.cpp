#include "platform/system/case_hosts.h"

#include <QDir>
#include <QFileInfo>
#include <map>

#include "platform/volume/collection_layout.h"

namespace kestrova {
namespace {

bool imageName(const QString& name) {
    // A later segment (.E02, .002) is found by the image's first.
    static const QStringList suffixes{"e01", "ex01", "vhd", "vhdx", "vmdk", "qcow2", "qcow", "dd", "raw", "img", "000", "001"};
    return suffixes.contains(QFileInfo(name).suffix().toLower());
}

}  // namespace

std::optional<std::vector<Evidence>> caseFolder(const QString& folder, QString* why) {
    const QDir dir(folder);
    if (!dir.exists()) {
        *why = QStringLiteral("the case folder %1 does not exist").arg(folder);
        return std::nullopt;
    }
    std::vector<Evidence> found;
    for (const QFileInfo& entry : dir.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name)) {
        if (entry.isSymLink()) continue;
        if (entry.isDir()) {
            // A folder is a host when it is a volume or a collection of one.
            const QDir sub(entry.filePath());
            bool volume = false;
            for (const QString& name : sub.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden)) {
                // Windows, Users... at its top; a drive letter (KAPE's C, C%3A); Velociraptor's uploads.
                volume = volume || isVolumeTop(decodedPart(name)) || decodedPart(name).size() <= 2 || name.compare(QLatin1String("uploads"), Qt::CaseInsensitive) == 0;
            }
            if (volume) found.push_back({Evidence::Is::Collection, entry.filePath()});
        } else if (entry.isFile() && entry.suffix().compare(QLatin1String("zip"), Qt::CaseInsensitive) == 0) {
            found.push_back({Evidence::Is::Collection, entry.filePath()});
        } else if (entry.isFile() && imageName(entry.fileName())) {
            // A split raw image is named by its first segment: .000 where there is one, else .001.
            const bool later = entry.suffix() == QLatin1String("001") && QFileInfo::exists(entry.path() + QLatin1Char('/') + entry.completeBaseName() + QStringLiteral(".000"));
            if (!later) found.push_back({Evidence::Is::Image, entry.filePath()});
        }
    }
    if (found.empty()) {
        *why = QStringLiteral("the case folder %1 holds no disk image, ZIP or collection folder").arg(folder);
        return std::nullopt;
    }
    return found;
}

std::vector<Host> openHosts(const std::vector<Evidence>& evidence, int partition, bool replayLogs) {
    std::vector<Host> hosts;
    std::map<QString, int> named;
    for (const Evidence& e : evidence) {
        Host host;
        switch (e.is) {
        case Evidence::Is::Folder: host.env = Environment::create(e.path, QString(), LastChoice::Ignore, replayLogs); break;
        case Evidence::Is::Image: host.env = Environment::createForImage(e.path, partition, QString(), replayLogs); break;
        case Evidence::Is::Collection: host.env = Environment::createForCollection(e.path, QString(), replayLogs); break;
        }
        host.name = host.env->volumeProblem() ? QString() : host.env->system->computerName();
        if (host.name.isEmpty()) host.name = QFileInfo(e.path).fileName();
        ++named[host.name.toLower()];
        hosts.push_back(std::move(host));
    }
    // Two computers of one name (copies of one machine, a name left as installed) are told apart
    // by their evidence.
    for (size_t i = 0; i < hosts.size(); ++i) {
        if (named[hosts[i].name.toLower()] > 1) hosts[i].name += QStringLiteral(" (%1)").arg(QFileInfo(evidence[i].path).fileName());
    }
    // The same evidence named twice still gives two hosts of two names.
    std::map<QString, int> seen;
    for (Host& host : hosts) {
        if (const int n = ++seen[host.name.toLower()]; n > 1) host.name += QStringLiteral(" #%1").arg(n);
    }
    return hosts;
}

QString hostFileName(const QString& host) {
    QString name = host;
    for (QChar& c : name) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c == QLatin1Char(':') || c.unicode() < 0x20) c = QLatin1Char('_');
    }
    if (name.isEmpty() || name.startsWith(QLatin1Char('.'))) name.prepend(QLatin1Char('_'));
    return name;
}

}  // namespace kestrova
