// SPDX-License-Identifier: Apache-2.0
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QUrl>
#include <QtTest>

#include "app/aboutdialog.h"
#include "app/languagescope.h"
#include "app/programlog.h"
#include "app/version.h"
#include "support/workingfolder.h"

/// The year line of the about box: the version, and the way to the log.
class TestAbout : public QObject {
    Q_OBJECT

public slots:
    /// In place of the desktop's file manager.
    void open(const QUrl& url) { opened.append(url.toLocalFile()); }

private slots:
    void init();
    void cleanup();
    void threeParagraphs();
    void languageSwitch();
    void linkOpensTheFolder();
    void linkByKeyboard();
    void folderThatIsNotThere();
    void buttonHasTheKeyboardFirst();

private:
    static QLabel* label(const AboutDialog& box) { return box.findChild<QLabel*>(QStringLiteral("label")); }

    std::unique_ptr<WorkingFolder> folder;
    QStringList opened;
};

void TestAbout::init() {
    folder = std::make_unique<WorkingFolder>();
    opened.clear();
    QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "open");
}

void TestAbout::cleanup() {
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
    folder.reset();
}

void TestAbout::threeParagraphs() {
    const AboutDialog box;
    const QStringList paragraphs = label(box)->text().split(QStringLiteral("</p>"), Qt::SkipEmptyParts);
    QCOMPARE(paragraphs.size(), 3);
    QCOMPARE(paragraphs[0], QStringLiteral("<p><b>Bivista</b> multiple cameras demo application."));
    QCOMPARE(
        paragraphs[1],
        QStringLiteral("<p>2026 \u00b7 version %1 \u00b7 <a href=\"log\">Log</a>").arg(programVersion()));
    QCOMPARE(paragraphs[2], QStringLiteral("<p>The Bivista team"));
}

void TestAbout::languageSwitch() {
    AboutDialog box;
    QVERIFY(WorkingFolder::installTranslation());
    for (int round = 0; round < 2; ++round) {
        {
            const LanguageScope texts(LanguageScope::kChinese);
            box.retranslate();
        }
        const QString chinese = QStringLiteral("<p>2026 \u00b7 版本 %1 \u00b7 <a href=\"log\">日志</a></p>");
        QVERIFY2(label(box)->text().contains(chinese.arg(programVersion())), qPrintable(label(box)->text()));
        QCOMPARE(label(box)->text().count(QStringLiteral("<p>")), 3);
        {
            const LanguageScope texts(LanguageScope::kEnglish);
            box.retranslate();
        }
        QVERIFY(label(box)->text().contains(QStringLiteral("version ") + programVersion()));
        QCOMPARE(label(box)->text().count(QStringLiteral("<a ")), 1);
    }
}

void TestAbout::linkOpensTheFolder() {
    const ProgramLog log(QStringLiteral("here/station.log"));
    const QString place = QDir::current().absoluteFilePath(QStringLiteral("here"));
    QTRY_VERIFY(QFileInfo(place).isDir());
    const AboutDialog box;
    QCOMPARE(label(box)->toolTip(), QDir::toNativeSeparators(place));
    emit label(box)->linkActivated(QStringLiteral("log"));
    QCOMPARE(opened, QStringList{place});
}

void TestAbout::linkByKeyboard() {
    QVERIFY(QDir().mkdir(QStringLiteral("logs")));
    AboutDialog box;
    box.show();
    QVERIFY(QTest::qWaitForWindowActive(&box));
    QTest::keyClick(box.focusWidget(), Qt::Key_Tab);
    QVERIFY(label(box)->hasFocus());
    QTest::keyClick(label(box), Qt::Key_Tab);  // on to the link
    QTest::keyClick(label(box), Qt::Key_Return);
    QCOMPARE(opened, QStringList{QDir::current().absoluteFilePath(QStringLiteral("logs"))});
    QVERIFY(box.isVisible());
}

/// Then a person can read where it would be.
void TestAbout::folderThatIsNotThere() {
    const AboutDialog box;
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("^The folder of the log could not be opened: ")));
    emit label(box)->linkActivated(QStringLiteral("log"));
    QVERIFY(opened.isEmpty());
    const QString path = QDir::toNativeSeparators(QDir::current().absoluteFilePath(QStringLiteral("logs")));
    QVERIFY2(label(box)->text().contains(QStringLiteral("<a href=\"log\">%1</a></p>").arg(path)),
             qPrintable(label(box)->text()));
    QCOMPARE(label(box)->text().count(QStringLiteral("<p>")), 3);
}

void TestAbout::buttonHasTheKeyboardFirst() {
    AboutDialog box;
    box.show();
    QVERIFY(QTest::qWaitForWindowActive(&box));
    QVERIFY(box.findChild<QPushButton*>()->hasFocus());
    QTest::keyClick(box.focusWidget(), Qt::Key_Return);
    QVERIFY(!box.isVisible());
}

QTEST_MAIN(TestAbout)
#include "tst_about.moc"
