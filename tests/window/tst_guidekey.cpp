// SPDX-License-Identifier: Apache-2.0
#include <QDesktopServices>
#include <QDialog>
#include <QLineEdit>
#include <QUrl>
#include <QtTest>

#include "app/guidekey.h"
#include "app/languagescope.h"
#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

/// F1 opens the guide in the language on screen, from wherever the keyboard is.
class TestGuideKey : public QObject {
    Q_OBJECT

public slots:
    /// In place of the system's browser.
    void open(const QUrl& url) { opened.append(url.toLocalFile()); }

private slots:
    void init();
    void cleanup();
    void besideTheProgramFirst();
    void eachLanguageForItself();
    void onlyTheOtherLanguage();
    void languageOnScreen();
    void chineseWithoutItsTexts();
    void fromEverywhere();
    void whileABoxWaits();
    void otherKeysDoNothing();
    void withoutAGuide();
    void withoutABrowser();

private:
    bool makePage(const QString& place, const QString& language = QStringLiteral("en"));
    QString page(const QString& place, const QString& language = QStringLiteral("en")) const;
    QString programFolder() const { return folder->filePath(QStringLiteral("bin")); }

    std::unique_ptr<QTemporaryDir> folder;
    QStringList opened;
};

void TestGuideKey::init() {
    recording::reset({});
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("bin")));
    opened.clear();
    QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "open");
}

void TestGuideKey::cleanup() {
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
}

/// `place` is relative to the folder that has the program's.
QString TestGuideKey::page(const QString& place, const QString& language) const {
    return QDir(folder->path()).filePath(place + QLatin1Char('/') + language + QStringLiteral("/index.html"));
}

bool TestGuideKey::makePage(const QString& place, const QString& language) {
    const QString name = page(place, language);
    QFile file(name);
    return QDir().mkpath(QFileInfo(name).path()) && file.open(QIODevice::WriteOnly);
}

void TestGuideKey::besideTheProgramFirst() {
    QCOMPARE(guidePage(programFolder(), LanguageScope::kEnglish), QString());
    // The last place first, so that each that comes goes before it.
    for (const char* place : {"share/doc/bivista/guide", "guide", "bin/guide"}) {
        QVERIFY(makePage(QLatin1String(place)));
        QCOMPARE(guidePage(programFolder(), LanguageScope::kEnglish), page(QLatin1String(place)));
    }
}

/// Wherever it is; the other one is better than none.
void TestGuideKey::eachLanguageForItself() {
    const QString chinese = page(QStringLiteral("guide"), QStringLiteral("zh"));
    const QString english = page(QStringLiteral("share/doc/bivista/guide"));
    QVERIFY(makePage(QStringLiteral("guide"), QStringLiteral("zh")));
    QCOMPARE(guidePage(programFolder(), LanguageScope::kChinese), chinese);
    QCOMPARE(guidePage(programFolder(), LanguageScope::kEnglish), chinese);
    QVERIFY(makePage(QStringLiteral("share/doc/bivista/guide")));
    QCOMPARE(guidePage(programFolder(), LanguageScope::kChinese), chinese);
    QCOMPARE(guidePage(programFolder(), LanguageScope::kEnglish), english);
    QVERIFY(QFile::remove(chinese));
    QCOMPARE(guidePage(programFolder(), LanguageScope::kChinese), english);
}

void TestGuideKey::onlyTheOtherLanguage() {
    QVERIFY(makePage(QStringLiteral("guide"), QStringLiteral("zh")));
    const GuideKey key(programFolder());
    QWidget widget;  // its texts are English
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral(
                                        "^The guide is only there in the other language: .*index\\.html$")));
    QTest::keyClick(&widget, Qt::Key_F1);
    QCOMPARE(opened, QStringList{page(QStringLiteral("guide"), QStringLiteral("zh"))});
}

void TestGuideKey::languageOnScreen() {
    QVERIFY(makePage(QStringLiteral("guide")) && makePage(QStringLiteral("guide"), QStringLiteral("zh")));
    const GuideKey key(programFolder());
    WindowUnderTest window;
    QVERIFY(WorkingFolder::installTranslation());
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=2\n"));
    window.start();
    const QString english = page(QStringLiteral("guide"));
    const QString chinese = page(QStringLiteral("guide"), QStringLiteral("zh"));
    QTest::keyClick(window.view(), Qt::Key_F1);
    QCOMPARE(opened, QStringList{chinese});
    window.action("actionEnglish_Chinese")->trigger();
    QTest::keyClick(window.view(), Qt::Key_F1);
    QCOMPARE(opened, (QStringList{chinese, english}));
    window.action("actionEnglish_Chinese")->trigger();
    QTest::keyClick(window.view(), Qt::Key_F1);
    QCOMPARE(opened, (QStringList{chinese, english, chinese}));
}

/// Then the texts on screen are English.
void TestGuideKey::chineseWithoutItsTexts() {
    QVERIFY(makePage(QStringLiteral("guide")) && makePage(QStringLiteral("guide"), QStringLiteral("zh")));
    const GuideKey key(programFolder());
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=2\n"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^No Chinese texts: ")));
    window.start();
    QTest::keyClick(window.view(), Qt::Key_F1);
    QCOMPARE(opened, QStringList{page(QStringLiteral("guide"))});
}

void TestGuideKey::fromEverywhere() {
    QVERIFY(makePage(QStringLiteral("guide")));
    const GuideKey key(programFolder());
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=1\n"));
    window.start();
    const QString wanted = page(QStringLiteral("guide"));
    QTest::keyClick(window.get(), Qt::Key_F1);
    QCOMPARE(opened.takeLast(), wanted);

    window.action("actionFull_screen")->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(window->isFullScreen(), kWait);
    QTest::keyClick(window.view(), Qt::Key_F1);
    QCOMPARE(opened.takeLast(), wanted);
    QVERIFY(window->isFullScreen());

    // While a text is typed it is none of it.
    window.action("actionBarcode")->trigger();
    QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, Qt::NoModifier, {100, 100});
    const auto* scene = qobject_cast<InteractiveScene*>(window.view()->scene());
    QVERIFY(scene && scene->hasBarcodeOverlay());
    for (const auto pressed : {Qt::Key_A, Qt::Key_F1, Qt::Key_B, Qt::Key_Return})
        QTest::keyClick(window.view(), pressed);
    QCOMPARE(opened.takeLast(), wanted);
    QCOMPARE(scene->barcode(), QStringLiteral("ab"));

    for (const char* dialog : {"SettingDialog", "AboutDialog"}) {
        auto* shown = window->findChild<QDialog*>(QLatin1String(dialog));
        QVERIFY(shown);
        shown->show();
        QTest::keyClick(shown, Qt::Key_F1);
        QCOMPARE(opened.takeLast(), wanted);
        QVERIFY(shown->isVisible());
        shown->close();
    }
    QVERIFY(opened.isEmpty());
}

/// Which is when somebody wants to know what it means.
void TestGuideKey::whileABoxWaits() {
    QVERIFY(makePage(QStringLiteral("guide")));
    const GuideKey key(programFolder());
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=1\n"));
    window.start();
    const int before = window.answerer.boxes.size();
    window.answerer.beforeAnswer = [this] { QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_F1); };
    window.action("actionExecute")->trigger();  // there are no corners
    QCOMPARE(window.answerer.boxes.size(), before + 1);
    QCOMPARE(opened, QStringList{page(QStringLiteral("guide"))});
}

void TestGuideKey::otherKeysDoNothing() {
    QVERIFY(makePage(QStringLiteral("guide")));
    QLineEdit line;
    {
        const GuideKey key(programFolder());
        QTest::keyClicks(&line, QStringLiteral("F1"));
        QCOMPARE(line.text(), QStringLiteral("F1"));
        for (const auto modifier : {Qt::ShiftModifier, Qt::ControlModifier, Qt::AltModifier})
            QTest::keyClick(&line, Qt::Key_F1, modifier);
        QTest::keyClick(&line, Qt::Key_F2);
        // Held down it is one wish, not twenty.
        QKeyEvent again(QEvent::KeyPress, Qt::Key_F1, Qt::NoModifier, QString(), true);
        QCoreApplication::sendEvent(&line, &again);
        QVERIFY(opened.isEmpty());
        QTest::keyClick(&line, Qt::Key_F1);
        QCOMPARE(opened.size(), 1);
    }
    QTest::keyClick(&line, Qt::Key_F1);  // nobody is there
    QCOMPARE(opened.size(), 1);
}

void TestGuideKey::withoutAGuide() {
    const GuideKey key(programFolder());
    QWidget widget;
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("^There is no guide with this program: .*bin$")));
    QTest::keyClick(&widget, Qt::Key_F1);
    QVERIFY(opened.isEmpty());
    QVERIFY(!QApplication::activeModalWidget());
}

/// Qt's offscreen platform has none.
void TestGuideKey::withoutABrowser() {
    if (QGuiApplication::platformName() != QLatin1String("offscreen"))
        QSKIP("A browser would come up.");
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
    QVERIFY(makePage(QStringLiteral("guide")));
    const GuideKey key(programFolder());
    QWidget widget;
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(QStringLiteral("does not support QPlatformServices::openDocument")));
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(QStringLiteral("^The guide could not be opened: .*index\\.html$")));
    QTest::keyClick(&widget, Qt::Key_F1);
}

QTEST_MAIN(TestGuideKey)
#include "tst_guidekey.moc"
