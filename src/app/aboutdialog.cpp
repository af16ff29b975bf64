// SPDX-License-Identifier: Apache-2.0
#include "app/aboutdialog.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QPixmap>
#include <QShowEvent>
#include <QUrl>

#include "app/programlog.h"
#include "app/version.h"
#include "ui_aboutdialog.h"

namespace {

QString logFolder() {
    return QFileInfo(ProgramLog::fileName()).absolutePath();
}

constexpr QSize kLogo(192, 48);  // px of 96 dpi

/// The logo in the screen's own pixels: Qt would leave some out, or paint each of them several times.
QPixmap logoFor(double ratio) {
    const QSize size = (QSizeF(kLogo) * ratio).toSize();
    QImage drawing;
    for (const char* name : {":/icon/logo-wide.png", ":/icon/logo-wide@2x.png", ":/icon/logo-wide@3x.png"}) {
        drawing = QImage(QLatin1String(name));
        if (drawing.size() == size)
            break;
    }
    QPixmap logo = QPixmap::fromImage(drawing.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    logo.setDevicePixelRatio(ratio);
    return logo;
}

}  // namespace

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent), ui(new Ui::AboutDialog) {
    ui->setupUi(this);
    ui->label->setTextInteractionFlags(Qt::TextBrowserInteraction);
    // The button has the keyboard first, as ever.
    setTabOrder(ui->btnClose, ui->label);
    ui->btnClose->setFocus();
    connect(ui->label, &QLabel::linkActivated, this, &AboutDialog::openLogFolder);
    completeYearLine();
}

AboutDialog::~AboutDialog() {
    delete ui;
}

void AboutDialog::retranslate() {
    ui->retranslateUi(this);
    completeYearLine();
}

/// The second of the form's paragraphs. Its own text, without version and link, is a text to be translated.
void AboutDialog::completeYearLine() {
    const QString end = QStringLiteral("</p>");
    QString text = ui->label->text();
    const int first = text.indexOf(end);
    const int second = text.indexOf(end, first + 1);
    if (first < 0 || second < 0)
        return;
    text.insert(second, QStringLiteral(" \u00b7 %1 \u00b7 <a href=\"log\">%2</a>")
                            .arg(tr("version %1").arg(programVersion()), tr("Log")));
    ui->label->setText(text);
    ui->label->setToolTip(QDir::toNativeSeparators(logFolder()));
}

void AboutDialog::openLogFolder() {
    const QString folder = logFolder();
    if (QFileInfo(folder).isDir() && QDesktopServices::openUrl(QUrl::fromLocalFile(folder)))
        return;
    const QString path = QDir::toNativeSeparators(folder);
    qWarning("The folder of the log could not be opened: %s", qUtf8Printable(path));
    // So that a person can go there.
    QString text = ui->label->text();
    const int begin = text.indexOf(QLatin1Char('>'), text.indexOf(QLatin1String("<a "))) + 1;
    ui->label->setText(
        text.replace(begin, text.indexOf(QLatin1String("</a>")) - begin, path.toHtmlEscaped()));
}

void AboutDialog::showEvent(QShowEvent* event) {
    ui->lblLogo->setPixmap(logoFor(devicePixelRatioF()));
    QDialog::showEvent(event);
}
