// SPDX-License-Identifier: Apache-2.0
#include "app/guidekey.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QUrl>
#include <utility>

#include "app/languagescope.h"

QString guidePage(const QString& programFolder, int language) {
    const QString page = language == LanguageScope::kChinese ? QStringLiteral("zh/index.html")
                                                             : QStringLiteral("en/index.html");
    for (const char* place : {"guide", "../guide", "../share/doc/bivista/guide"}) {
        const QDir guide(QDir(programFolder).filePath(QLatin1String(place)));
        if (QFileInfo(guide.filePath(page)).isFile())
            return QDir::cleanPath(guide.filePath(page));
    }
    return {};
}

// The application's, not a window's shortcut: that would rest while a box or a dialog waits for its answer,
// which is when somebody wants to look something up.
GuideKey::GuideKey(QString programFolder) : folder(std::move(programFolder)) {
    QCoreApplication::instance()->installEventFilter(this);
}

bool GuideKey::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    const auto* press = static_cast<QKeyEvent*>(event);
    if (press->key() != Qt::Key_F1 || press->modifiers() != Qt::NoModifier)
        return false;
    if (!press->isAutoRepeat())
        open();
    return true;
}

void GuideKey::open() const {
    const QString page = guidePage(folder, LanguageScope::onScreen());
    if (page.isEmpty())
        qWarning("There is no guide with this program: %s", qUtf8Printable(QDir::toNativeSeparators(folder)));
    else if (!QDesktopServices::openUrl(QUrl::fromLocalFile(page)))
        qWarning("The guide could not be opened: %s", qUtf8Printable(QDir::toNativeSeparators(page)));
}
