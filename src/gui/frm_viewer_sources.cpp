// What the window examines: a volume chosen in the dialog, an image, a collection or a case
// folder opened from the File menu, the choice kept in kr.ini for the next start; the case file
// of the examiner's tags, opened when first needed; the title that says what is examined.
#include "gui/frm_viewer.h"

#include <QMessageBox>
#include <QTreeWidget>

#include "core/app/startup.h"
#include "core/common/text.h"
#include "core/settings/ini_file.h"
#include "gui/frm_choose_system.h"
#include "gui/timeline_pane.h"
#include "gui/trace_pane.h"
#include "platform/cases/case_file.h"
#include "platform/clock/time_zone.h"

namespace kestrova {

void FrmViewer::chooseSystem() {
    FrmChooseSystem dialog(env_.source, this);
    if (dialog.exec() != QDialog::Accepted) return;
    const Source chosen = dialog.chosen();
    caseHosts_.clear();
    env_.settings.SaveSetting(kSourceSection, QStringLiteral("Root"), chosen.root);
    env_.settings.SaveSetting(kSourceSection, QStringLiteral("User"), chosen.user);
    env_.settings.SaveSetting(kSourceSection, QStringLiteral("Image"), chosen.image);
    env_.settings.SaveSetting(kSourceSection, QStringLiteral("Collection"), QString());
    if (chosen.image.isEmpty()) {
        env_.select(chooseSource(chosen.root, chosen.user, env_.settings, chosen.root));
        env_.source.origin = QStringLiteral("kr.ini");
    } else {
        env_.select(chosen);
    }
    systemChanged();
}

void FrmViewer::openImage(const QString& path) {
    const ImageSource image = openImageSource(path, 0, env_.privateTemp.path());
    if (!image.problem.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Kestrova"), image.problem);
        return;
    }
    examine(Source{.origin = QStringLiteral("kr.ini"), .image = path});
}

void FrmViewer::openCase(const QString& folder) {
    QString why;
    const auto evidence = caseFolder(folder, &why);
    if (!evidence) {
        QMessageBox::warning(this, QStringLiteral("Kestrova"), why);
        return;
    }
    std::vector<Host> hosts = openHosts(*evidence, 0, env_.replayLogs);
    QStringList leftOut;
    std::erase_if(hosts, [&](const Host& host) {
        const auto problem = host.env->volumeProblem();
        if (problem) leftOut << host.name + QStringLiteral(": ") + *problem;
        return problem.has_value();
    });
    if (hosts.empty()) {
        QMessageBox::warning(this, QStringLiteral("Kestrova"), QStringLiteral("No host of %1 can be examined:\n%2").arg(folder, leftOut.join(QLatin1Char('\n'))));
        return;
    }
    // Every record must be accounted for: a host left out is said, not passed over.
    if (!leftOut.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Kestrova"), QStringLiteral("Left out of the case:\n%1").arg(leftOut.join(QLatin1Char('\n'))));
    }
    // The classic categories examine the first host; the traces read them all.
    env_.select(hosts.front().env->source);
    caseHosts_ = std::move(hosts);
    systemChanged();
}

void FrmViewer::examine(const Source& chosen) {
    caseHosts_.clear();
    // One choice is remembered: the others are cleared, so the next start opens this one.
    env_.settings.SaveSetting(kSourceSection, QStringLiteral("Image"), chosen.image);
    env_.settings.SaveSetting(kSourceSection, QStringLiteral("Collection"), chosen.collection);
    env_.settings.SaveSetting(kSourceSection, QStringLiteral("Root"), QString());
    env_.settings.SaveSetting(kSourceSection, QStringLiteral("User"), QString());
    env_.select(chosen);
    systemChanged();
}

void FrmViewer::openCollection(const QString& path) {
    const CollectionSource collection = kestrova::openCollection(path, env_.privateTemp.path());
    if (!collection.volume) {
        QMessageBox::warning(this, QStringLiteral("Kestrova"), collection.problem);
        return;
    }
    examine(Source{.origin = QStringLiteral("kr.ini"), .collection = path});
}

void FrmViewer::openCaseFile() {
    // Opened (made, the first time) when a trace table is first shown, not at every start: the
    // classic window writes nothing of its own.
    tracePane->setCaseFile(nullptr);
    timelinePane->setCaseFile(nullptr);
    caseFile_.reset();
    caseFileTried_ = false;
}

CaseFile* FrmViewer::caseFile() {
    if (!caseFileTried_) {
        caseFileTried_ = true;
        QString why;
        caseFile_ = CaseFile::open(env_.source.evidence(), &why);
        tracePane->setCaseFile(caseFile_.get());
        timelinePane->setCaseFile(caseFile_.get());
    }
    return caseFile_.get();
}

void FrmViewer::systemChanged() {
    TreeView1->setCurrentItem(nullptr);
    fillSnapshotsMenu();
    openCaseFile();
    applyZoneSetting(false);  // "the examined system's zone" is now another system's
    newSession();
    updateTitle();
}

void FrmViewer::updateTitle() {
    const QString computer = env_.os->ComputerName();
    // The zone every local time of the list is in: the examiner must be able to tell.
    // A case: the classic categories show its first host; the traces read every host.
    const QString inCase = caseHosts_.empty() ? QString()
                           : caseHosts_.size() == 1 ? QStringLiteral(" - a case of 1 host")
                                                    : QStringLiteral(" - a case of %1 hosts").arg(caseHosts_.size());
    setWindowTitle(QStringLiteral("Kestrova %1 - %2 on %3 (%4)%5 - times in %6")
                       .arg(static_cast<double>(kProgramVersion))
                       .arg(showEscapedBytes(env_.source.user.isEmpty() ? QStringLiteral("no user") : env_.source.user),
                            computer.isEmpty() ? QStringLiteral("unknown computer") : computer, env_.system->volume().description(), inCase,
                            zoneInForce()));
}

}  // namespace kestrova
