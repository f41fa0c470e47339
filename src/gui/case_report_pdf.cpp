#include "gui/case_report_pdf.h"

#include <QFile>
#include <QPageSize>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QTextDocument>
#include <QUrl>

namespace kestrova {

std::optional<QString> writeCaseReportPdf(const QByteArray& html, const std::vector<QImage>& charts, const QString& path) {
    QString text = QString::fromUtf8(html);
    // Each <svg>…</svg> in turn becomes the picture of the same chart.
    static const QRegularExpression kSvg(QStringLiteral("<svg[^>]*>.*?</svg>"), QRegularExpression::DotMatchesEverythingOption);
    QTextDocument document;
    size_t next = 0;
    QString laidOut;
    qsizetype from = 0;
    for (auto match = kSvg.globalMatch(text); match.hasNext();) {
        const QRegularExpressionMatch m = match.next();
        laidOut += text.mid(from, m.capturedStart() - from);
        if (next < charts.size()) {
            const QString name = QStringLiteral("chart:%1").arg(next);
            document.addResource(QTextDocument::ImageResource, QUrl(name), charts[next]);
            laidOut += QStringLiteral("<p><img src=\"%1\"/></p>").arg(name);
        }
        ++next;
        from = m.capturedEnd();
    }
    laidOut += text.mid(from);
    document.setHtml(laidOut);
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly)) return out.errorString();
    QPdfWriter pdf(&out);
    pdf.setPageSize(QPageSize(QPageSize::A4));
    pdf.setPageMargins(QMarginsF(15, 15, 15, 15), QPageLayout::Millimeter);
    // A screen's resolution: the text and the charts' pictures keep the sizes the page gives them.
    pdf.setResolution(96);
    pdf.setTitle(QStringLiteral("Case report"));
    pdf.setCreator(QStringLiteral("Kestrova"));
    document.print(&pdf);
    out.close();
    if (out.error() != QFileDevice::NoError) return out.errorString();
    return std::nullopt;
}

}  // namespace kestrova
