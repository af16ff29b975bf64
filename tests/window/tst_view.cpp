// SPDX-License-Identifier: Apache-2.0
#include <QMenuBar>
#include <QAbstractButton>
#include <QDialog>
#include <QMenu>
#include <QToolBar>

#include "support/greytiles.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

QStringList namesOf(const QList<QAction*>& actions) {
    QStringList names;
    for (const QAction* action : actions)
        names.append(action->isSeparator() ? QStringLiteral("|") : action->objectName());
    return names;
}

QStringList words(const char* text) {
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

}  // namespace

/// What people see and press: actions, menus, tool bar, language, full screen.
class TestView : public QObject {
    Q_OBJECT

private slots:
    void init() { attachFourCameras(); }
    void actionsOfTheForm_data();
    void actionsOfTheForm();
    void everyActionHasAnIcon();
    void menusInOrder();
    void toolBarInOrder();
    void formObjects();
    void switchingLanguage_data();
    void switchingLanguage();
    void chineseTextsOfTheForms();
    void laterTextsAreEnglish();
    void languageWithoutTranslationFile();
    void aboutBox();
    void fullScreenHidesTheBars();
    void escapeWhenNotInFullScreen();
    void fullScreenKeysWorkWithoutBars();

private:
    static QString disk(const char* key) { return WorkingFolder::keyOnDisk(QLatin1String(key)); }
};

void TestView::actionsOfTheForm_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shortcut");
    QTest::addColumn<bool>("checkable");
    const struct {
        const char* name;
        const char* text;
        const char* shortcut;
        bool checkable;
    } table[] = {
        {"action_Play", "&Play", "", false},
        {"action_Stop", "Pa&use", "", false},
        {"action_Save", "&Save", "", false},
        {"actionExit", "Exit", "", false},
        {"actionZoom_In", "Zoom In", "", false},
        {"actionZoom_Out", "Zoom Out", "", false},
        {"actionReset", "Reset", "", false},
        {"action_Setting", "&Setting", "", false},
        {"actionEnglish_Chinese", "English<->Chinese", "", false},
        {"actionAbout", "About ", "", false},
        {"actionIO_Control", "IO Control", "", false},
        {"actionZoom_Fit", "Zoom Fit", "", false},
        {"actionRearrange", "Rearrange", "", false},
        {"LOGO", "LOGO", "", false},
        {"actionTrigger", "Trigger", "", false},
        {"actionSave_Single", "Save Single", "", false},
        {"actionTilt", "Tilt", "", false},
        {"actionClear", "Clear", "", false},
        {"actionExecute", "Execute", "", false},
        {"actionEnable", "Enable", "", true},
        {"actionSave_Corner", "Save Corner", "", false},
        {"actionLoad_Corner", "Load Corner", "", false},
        {"actionBarcode", "Barcode", "", false},
        {"actionDate_Time", "Date Time", "", false},
        {"actionFull_screen", "Full screen", "F4", false},
        {"actionExit_full_screen", "Exit full screen", "Esc", false},
        {"actionFreeze", "Freeze", "", true},
    };
    for (const auto& row : table)
        QTest::newRow(row.name) << QString::fromLatin1(row.text) << QString::fromLatin1(row.shortcut)
                                << row.checkable;
}

void TestView::actionsOfTheForm() {
    QFETCH(QString, text);
    QFETCH(QString, shortcut);
    QFETCH(bool, checkable);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Lang"), 1);
    window.start();
    const QAction* action = window.action(QTest::currentDataTag());
    QVERIFY(action);
    QCOMPARE(action->text(), text);
    QCOMPARE(action->shortcut().toString(), shortcut);
    QCOMPARE(action->isCheckable(), checkable);
    if (text == QLatin1String("Zoom Fit") || text == QLatin1String("Date Time"))
        QCOMPARE(action->toolTip(), text);
}

void TestView::everyActionHasAnIcon() {
    WindowUnderTest window;
    window.start();
    for (const QAction* action :
         window->findChildren<QAction*>(QRegularExpression(QStringLiteral("^(action|LOGO)")))) {
        const QPixmap icon = action->icon().pixmap(24, 24);
        QVERIFY2(icon.width() == 24, qPrintable(action->objectName()));
    }
    QVERIFY(!window->windowIcon().isNull());
    QVERIFY(QFile::exists(QStringLiteral(":/icon/app")));
}

void TestView::menusInOrder() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Lang"), 1);
    window.start();
    QStringList menus;
    QStringList entries;
    for (const QAction* entry : window->menuBar()->actions()) {
        menus.append(entry->menu()->objectName() + QLatin1Char('=') + entry->menu()->title());
        entries.append(namesOf(entry->menu()->actions()).join(QLatin1Char(' ')));
    }
    QCOMPARE(
        menus,
        words(
            "menu_File=&File menu_View=&View menu_Set=&Tools menuCalibrate=Calibrate menu_Language=&Language "
            "menu_Help=&Help"));
    QCOMPARE(entries[0], QStringLiteral("action_Play action_Stop action_Save actionExit actionFreeze"));
    QCOMPARE(entries[1],
             QStringLiteral("actionZoom_In actionZoom_Out actionZoom_Fit actionReset | actionFull_screen "
                            "actionExit_full_screen"));
    QCOMPARE(entries[2], QStringLiteral("action_Setting actionBarcode actionDate_Time"));
    QCOMPARE(entries[3], QStringLiteral("actionTilt actionClear actionExecute actionEnable actionSave_Corner "
                                        "actionLoad_Corner"));
    QCOMPARE(entries[4], QStringLiteral("actionEnglish_Chinese"));
    QCOMPARE(entries[5], QStringLiteral("actionAbout"));
}

void TestView::toolBarInOrder() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Lang"), 1);
    window.start();
    auto* bar = window->findChild<QToolBar*>(QStringLiteral("toolBar"));
    QCOMPARE(
        namesOf(bar->actions()),
        words("action_Play action_Stop actionFreeze action_Save actionZoom_In actionZoom_Out actionZoom_Fit "
              "actionReset action_Setting actionBarcode actionDate_Time | actionRearrange actionTilt "
              "actionExecute actionEnable actionClear actionSave_Corner actionLoad_Corner LOGO"));
    QCOMPARE(bar->windowTitle(), QStringLiteral("toolBar"));
    QCOMPARE(window->toolBarArea(bar), Qt::TopToolBarArea);
}

void TestView::formObjects() {
    WindowUnderTest window;
    window.start();
    QCOMPARE(window.view()->contextMenuPolicy(), Qt::CustomContextMenu);
    QVERIFY(window->findChild<QWidget*>(QStringLiteral("centralWidget")));
    QVERIFY(window->findChild<QWidget*>(QStringLiteral("statusBar")));
    QCOMPARE(window->windowTitle(), QStringLiteral("Bivista"));
}

void TestView::switchingLanguage_data() {
    QTest::addColumn<int>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("text");
    QTest::newRow("English to Chinese") << 1 << "2" << QString::fromUtf8("冻结");
    QTest::newRow("Chinese to English") << 2 << "1" << QStringLiteral("Freeze");
    QTest::newRow("anything else to English") << 7 << "1" << QStringLiteral("Freeze");
    QTest::newRow("zero to English") << 0 << "1" << QStringLiteral("Freeze");
}

void TestView::switchingLanguage() {
    QFETCH(int, before);
    QFETCH(QString, after);
    QFETCH(QString, text);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Lang"), before);
    WorkingFolder::setKey(QStringLiteral("File/Title"), QStringLiteral("Station 7"));
    QVERIFY(WorkingFolder::installTranslation());
    window.start();
    window.action("actionEnglish_Chinese")->trigger();
    QCOMPARE(disk("File/Lang"), after);
    QCOMPARE(window.action("actionFreeze")->text(), text);
    QCOMPARE(window->windowTitle(), QStringLiteral("Station 7"));
    const bool isChinese = after == QLatin1String("2");
    for (const auto& [dialog, chinese, english] :
         {std::make_tuple("SettingDialog", "设置", "Setting"),
          std::make_tuple("AboutDialog", "关于", "About"),
          std::make_tuple("CalibrateDialog", "网格校准", "CalibrateDialog")})
        QCOMPARE(window->findChild<QDialog*>(QLatin1String(dialog))->windowTitle(),
                 QString::fromUtf8(isChinese ? chinese : english));
    for (const QAction* action : window->findChild<QToolBar*>()->actions())
        QVERIFY2(!action->iconText().contains(QLatin1Char('(')), qPrintable(action->iconText()));
    window.action("actionEnglish_Chinese")->trigger();
    window.action("actionEnglish_Chinese")->trigger();
    QCOMPARE(window.action("actionFreeze")->text(), text);
}

void TestView::chineseTextsOfTheForms() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::installTranslation());
    window.start();  // Chinese is the default
    QCOMPARE(window.action("action_Save")->text(), QString::fromUtf8("保存(&S)"));
    QCOMPARE(window->findChild<QMenu*>(QStringLiteral("menu_Help"))->title(), QString::fromUtf8("帮助(&H)"));
    QCOMPARE(window->findChild<QDialog*>(QStringLiteral("SettingDialog"))->windowTitle(),
             QString::fromUtf8("设置"));
    QCOMPARE(window->findChild<QDialog*>(QStringLiteral("AboutDialog"))->windowTitle(),
             QString::fromUtf8("关于"));
    QCOMPARE(window->findChild<QDialog*>(QStringLiteral("CalibrateDialog"))->windowTitle(),
             QString::fromUtf8("网格校准"));
}

void TestView::laterTextsAreEnglish() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::installTranslation());
    window.start();
    window->saveImage();
    QCOMPARE(window.leftText(), QStringLiteral("No image"));
    window.action("actionEnglish_Chinese")->trigger();
    window.action("actionEnglish_Chinese")->trigger();
    QCOMPARE(window.action("actionFreeze")->text(), QString::fromUtf8("冻结"));
    QCOMPARE(QCoreApplication::translate("MainWindow", "No image"), QStringLiteral("No image"));
}

void TestView::languageWithoutTranslationFile() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Lang"), 1);
    window.start();
    QTest::ignoreMessage(QtWarningMsg,
                         "No Chinese texts: lang/tilecam_zh_CN.qm cannot be read in the working folder");
    window.action("actionEnglish_Chinese")->trigger();
    QCOMPARE(disk("File/Lang"), QStringLiteral("2"));
    QCOMPARE(window.action("actionFreeze")->text(), QStringLiteral("Freeze"));
}

void TestView::aboutBox() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Lang"), 1);
    window.start();
    auto* box = window->findChild<QDialog*>(QStringLiteral("AboutDialog"));
    QVERIFY(box && !box->isVisible());
    for (const char* action : {"actionAbout", "LOGO"}) {
        window.action(action)->trigger();
        QVERIFY(box->isVisible());
        QVERIFY(!box->isModal());
        QCOMPARE(box->windowTitle(), QStringLiteral("About"));
        auto* label = box->findChild<QLabel*>();
        QCOMPARE(label->textFormat(), Qt::RichText);
        QCOMPARE(label->text().count(QLatin1String("<p>")), 3);
        QVERIFY(label->text().contains(QLatin1String("Bivista</b> multiple cameras demo application.")));
        auto* close = box->findChild<QAbstractButton*>();
        QCOMPARE(close->text(), QStringLiteral("Close"));
        close->click();
        QVERIFY(!box->isVisible());
    }
}

void TestView::fullScreenHidesTheBars() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}});
    window.action("actionFull_screen")->trigger();
    QVERIFY(window->isFullScreen());
    QVERIFY(window.view()->isFullScreen());
    for (const char* bar : {"toolBar", "menuBar", "statusBar"})
        QVERIFY(window->findChild<QWidget*>(QLatin1String(bar))->isHidden());
    window.action("actionExit_full_screen")->trigger();
    QVERIFY(!window->isFullScreen());
    QVERIFY(!window.view()->isFullScreen());
    for (const char* bar : {"toolBar", "menuBar", "statusBar"})
        QVERIFY(!window->findChild<QWidget*>(QLatin1String(bar))->isHidden());
}

void TestView::escapeWhenNotInFullScreen() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}});
    window->findChild<QWidget*>(QStringLiteral("toolBar"))->hide();
    window.view()->resetTransform();
    window.action("actionExit_full_screen")->trigger();
    QVERIFY(!window->findChild<QWidget*>(QStringLiteral("toolBar"))->isHidden());
    QVERIFY(window.view()->transform() != QTransform());
}

void TestView::fullScreenKeysWorkWithoutBars() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}});
    QApplication::setActiveWindow(window.get());
    window.view()->setFocus();
    QTest::keyClick(window.view(), Qt::Key_F4);
    QVERIFY(window->isFullScreen());
    QTest::keyClick(window.view(), Qt::Key_Escape);
    QVERIFY(!window->isFullScreen());
}

QTEST_MAIN(TestView)
#include "tst_view.moc"
