// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QTranslator>

/// As long as it lives, texts are looked up in a language of `File/Lang`: 2 is Chinese, if its file is there,
/// everything else English. Only for the moment in which texts are set anew: what is looked up later is
/// English, which is deliberate. GUI thread.
class LanguageScope {
public:
    static constexpr int kEnglish = 1;
    static constexpr int kChinese = 2;

    explicit LanguageScope(int language);

    /// The language in which texts were last set: that of the forms.
    static int onScreen() { return lastSet; }

private:
    static int lastSet;
    QTranslator translator;  // takes itself away
};
