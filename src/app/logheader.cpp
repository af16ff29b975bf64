// SPDX-License-Identifier: Apache-2.0
#include "app/logheader.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QScreen>
#include <QThread>
#include <opencv2/core/utility.hpp>

#include "app/version.h"
#include "platform/machine.h"

namespace {

QString timeText(const QDateTime& time) {
    return time.toString(Qt::ISODate).replace(QLatin1Char('T'), QLatin1Char(' '));
}

QString cameraLibrary() {
    const QString file = platform::fileOfLibrary(QStringLiteral("KVCap2"), "CameraGetCount");
    if (file.isEmpty())
        return QStringLiteral("Camera library: not found");
    return QStringLiteral("Camera library: %1 of %2")
        .arg(QDir::toNativeSeparators(file), timeText(QFileInfo(file).lastModified()));
}

QString screenText(const QScreen& screen) {
    const QRect place = screen.geometry();
    const double scale = screen.devicePixelRatio();
    return QStringLiteral("Screen \"%1\": %2 x %3 px at %4, %5, scale %6, %7 dpi, %8 Hz")
        .arg(screen.name())
        .arg(qRound(place.width() * scale))
        .arg(qRound(place.height() * scale))
        .arg(place.x())
        .arg(place.y())
        .arg(scale)
        .arg(qRound(screen.logicalDotsPerInch() * scale))
        .arg(screen.refreshRate(), 0, 'f', 0);
}

}  // namespace

QStringList logHeader() {
    QStringList lines{
        QStringLiteral("Bivista %1, process %2, begun %3")
            .arg(programVersion())
            .arg(QCoreApplication::applicationPid())
            .arg(timeText(QDateTime::currentDateTime())),
        QStringLiteral("Qt %1 (compiled with %2), OpenCV %3")
            .arg(QString::fromLatin1(qVersion()), QStringLiteral(QT_VERSION_STR),
                 QString::fromStdString(cv::getVersionString())),
        cameraLibrary(),
        QStringLiteral("System: %1, %2, language %3")
            .arg(QSysInfo::prettyProductName(), QSysInfo::kernelVersion(), QLocale::system().name()),
        QStringLiteral("Processor: %1, %2 threads")
            .arg(platform::processorName())
            .arg(QThread::idealThreadCount())};
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        const auto screens = QGuiApplication::screens();
        for (const QScreen* screen : screens)
            lines.append(screenText(*screen));
    }
    lines.append(QStringLiteral("Working folder: %1").arg(QDir::toNativeSeparators(QDir::currentPath())));
    return lines;
}
