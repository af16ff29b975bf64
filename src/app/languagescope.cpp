#include "app/languagescope.h"

#include <QCoreApplication>

LanguageScope::LanguageScope(int language) {
    if (language != kChinese)
        return;
    const QString file = QStringLiteral("lang/tilecam_zh_CN");
    if (translator.load(file))
        QCoreApplication::installTranslator(&translator);
    else  // The texts stay English, without a word on screen.
        qWarning("No Chinese texts: %s.qm cannot be read in the working folder", qPrintable(file));
}
