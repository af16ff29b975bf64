// SPDX-License-Identifier: Apache-2.0
#include "app/languagescope.h"

#include <QCoreApplication>

int LanguageScope::lastSet = LanguageScope::kEnglish;

LanguageScope::LanguageScope(int language) {
    lastSet = kEnglish;
    if (language != kChinese)
        return;
    const QString file = QStringLiteral("lang/tilecam_zh_CN");
    if (translator.load(file)) {
        QCoreApplication::installTranslator(&translator);
        lastSet = kChinese;
    } else {  // The texts stay English, without a word on screen.
        qWarning("No Chinese texts: %s.qm cannot be read in the working folder", qPrintable(file));
    }
}
