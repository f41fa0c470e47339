// The case report as PDF, through Qt's own PDF writer: the report's HTML laid out by QTextDocument,
// its SVG charts (which QTextDocument does not draw) replaced, in order, by pictures of the
// Overview's own chart widgets.
#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <optional>
#include <vector>

namespace kestrova {

// nullopt when written, else why not.
std::optional<QString> writeCaseReportPdf(const QByteArray& html, const std::vector<QImage>& charts, const QString& path);

}  // namespace kestrova
