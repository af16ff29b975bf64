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

namespace {

QString folderOf(int language) {
    return language == LanguageScope::kChinese ? QStringLiteral("zh") : QStringLiteral("en");
}

}  // namespace

QString guidePage(const QString& programFolder, int language) {
    const int other = language == LanguageScope::kChinese ? LanguageScope::kEnglish : LanguageScope::kChinese;
    for (const int tried : {language, other}) {
        const QString page = folderOf(tried) + QStringLiteral("/index.html");
        for (const char* place : {"guide", "../guide", "../share/doc/bivista/guide"}) {
            const QDir guide(QDir(programFolder).filePath(QLatin1String(place)));
            if (QFileInfo(guide.filePath(page)).isFile())
                return QDir::cleanPath(guide.filePath(page));
        }
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
    const int language = LanguageScope::onScreen();
    const QString page = guidePage(folder, language);
    if (page.isEmpty()) {
        qWarning("There is no guide with this program: %s", qUtf8Printable(QDir::toNativeSeparators(folder)));
        return;
    }
    if (QFileInfo(page).dir().dirName() != folderOf(language))
        qInfo("The guide is only there in the other language: %s",
              qUtf8Printable(QDir::toNativeSeparators(page)));
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(page)))
        qWarning("The guide could not be opened: %s", qUtf8Printable(QDir::toNativeSeparators(page)));
}
