#include "app/languagescope.h"

#include <QCoreApplication>

LanguageScope::LanguageScope(int language) {
    if (language == kChinese && translator.load(QStringLiteral("lang/tilecam_zh_CN")))
        QCoreApplication::installTranslator(&translator);
}
