// SPDX-License-Identifier: Apache-2.0
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QRadioButton>
#include <cmath>

#include "calibration/calibrationfile.h"
#include "measure/scaledialog.h"
#include "support/mainwindowtest.h"
#include "support/somecorrections.h"
#include "support/scaledwindow.h"

/// How the scale is entered, refused, kept and renewed.
class TestScaleChanges : public QObject, private ScaledWindow {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void dialogAsksForTheCell();
    void dialogRefusesBadValues();
    void dialogAsksForALine();
    void lineOutsideIsNoScale();
    void cancelledDialogChangesNothing();
    void dialogInChinese();
    void executeRenewsTheCell();
    void executeWithoutAScaleStoresNone();
    void unitAloneStoresNoCell();
    void scaleAfterAnotherCalibration();
    void cellOfAnotherRun();
    void failedExecuteLeavesTheScale();
    void exchangedCalibration_data();
    void exchangedCalibration();
    void digitsThatAreStored();
    void whatIsNotTouchedStays_data();
    void whatIsNotTouchedStays();
    void smallCellsCanBeTyped();
};

void TestScaleChanges::dialogAsksForTheCell() {
    WindowUnderTest window;
    start(window, {});
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QStringList states;
    ask(window, [&](ScaleDialog& dialog) {
        const auto* state = dialog.findChild<QLabel*>(QStringLiteral("lblState"));
        QVERIFY(!dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->isEnabled());
        states.append(state->text());
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(5.0);
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->setValue(5.0);
        states.append(state->text());
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->setValue(6.0);
        states.append(state->text());
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(states,
             (QStringList{QStringLiteral("Enter a size above 0."), QStringLiteral("One pixel is 0.25 mm."),
                          QStringLiteral("One pixel is 0.25 mm wide and 0.3 mm high.")}));
    // The px of a cell came from the calibration and its counts.
    QCOMPARE(key("CellWidth"), QStringLiteral("5"));
    QCOMPARE(key("CellHeight"), QStringLiteral("6"));
    QVERIFY(std::abs(key("CellWidthPx").toDouble() - 20.0) < 1e-4);
    QVERIFY(std::abs(key("CellHeightPx").toDouble() - 20.0) < 1e-4);
    QCOMPARE(key("Unit"), QStringLiteral("1"));
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - 25.0) < 1e-3);
    // In another unit; the sizes are those that were entered.
    ask(window, [&](ScaleDialog& dialog) {
        QCOMPARE(dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->value(), 6.0);
        dialog.findChild<QComboBox*>(QStringLiteral("cbUnit"))->setCurrentIndex(2);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(measure(window).unit, QStringLiteral("um"));
    QCOMPARE(key("CellHeight"), QStringLiteral("6"));
    window.end();
    window.start();
    QTRY_VERIFY(window->isMaximized());
    show(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("um"));
}

void TestScaleChanges::dialogRefusesBadValues() {
    WindowUnderTest window;
    start(window);
    ask(window, [&](ScaleDialog& dialog) {
        auto* box = dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"));
        const auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("btnOK"));
        QVERIFY(ok->isEnabled());
        box->setValue(0.0);
        QVERIFY(!ok->isEnabled());
        QTest::keyClick(&dialog, Qt::Key_Return);
        QVERIFY(dialog.isVisible());
        // What cannot be a size cannot be typed.
        for (const char* text : {"-5", "1e308", "inf", "nan", "999999999"}) {
            box->selectAll();
            QTest::keyClicks(box, QLatin1String(text));
            QVERIFY2(box->value() >= 0.0 && box->value() <= 1e5, text);
        }
        box->setValue(0.0001);
        QVERIFY(ok->isEnabled());
    });
    QCOMPARE(dialogs, 1);
    QCOMPARE(key("CellWidth"), QStringLiteral("10"));
}

void TestScaleChanges::dialogAsksForALine() {
    WindowUnderTest window;
    start(window, {});
    window.action("measureLine")->trigger();
    const auto* view = window.view();
    for (const QPointF point : {QPointF(100, 50), QPointF(200, 50)})
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(point));
    const double px = measure(window).value;
    QVERIFY(px > 90.0);
    ask(window, [&](ScaleDialog& dialog) {
        QVERIFY(dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->isChecked());
        const auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("btnOK"));
        QVERIFY(!ok->isEnabled());
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbLine"))->setValue(80.0);
        QVERIFY(ok->isEnabled());
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(dialogs, 1);
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - 80.0) < 1e-3);
    QVERIFY(std::abs(key("CellWidth").toDouble() - 80.0 / px * 20.0) < 1e-3);
    // Asked again: what the line measures now. It is still selected.
    ask(window, [&](ScaleDialog& dialog) {
        QVERIFY(dialog.findChild<QRadioButton*>(QStringLiteral("rbCell"))->isChecked());
        QVERIFY(dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->isEnabled());
        QCOMPARE(dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbLine"))->value(), 80.0);
    });
    QCOMPARE(dialogs, 2);
}

void TestScaleChanges::lineOutsideIsNoScale() {
    WindowUnderTest window;
    start(window, {});
    window.action("actionEnable")->trigger();
    show(window);
    window.action("measureLine")->trigger();
    const auto* view = window.view();
    for (const QPointF point : {QPointF(100, 50), QPointF(200, 50)})
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(point));
    ask(window, [&](ScaleDialog& dialog) {
        QVERIFY(!dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->isEnabled());
        QVERIFY(dialog.findChild<QLabel*>(QStringLiteral("lblState"))
                    ->text()
                    .contains(QLatin1String("Measures are pixels as long as the correction is off.")));
    });
    QCOMPARE(dialogs, 1);
}

void TestScaleChanges::cancelledDialogChangesNothing() {
    WindowUnderTest window;
    start(window, {});
    const QByteArray before = WorkingFolder::read(QStringLiteral("setting.ini"));
    ask(window, [&](ScaleDialog& dialog) {
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(5.0);
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->setValue(5.0);
        dialog.findChild<QPushButton*>(QStringLiteral("btnCancel"))->click();
    });
    QCOMPARE(dialogs, 1);
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), before);
    QVERIFY(!window->findChild<ScaleDialog*>());
}

void TestScaleChanges::dialogInChinese() {
    WindowUnderTest window;
    start(window, kScale, kJoined, true, 2);
    ask(window, [&](ScaleDialog& dialog) {
        QCOMPARE(dialog.windowTitle(), QString::fromUtf8("比例尺"));
        auto* state = dialog.findChild<QLabel*>(QStringLiteral("lblState"));
        QCOMPARE(state->text(), QString::fromUtf8("每像素 0.5 mm。"));
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(0.0);
        QCOMPARE(state->text(), QString::fromUtf8("请输入大于 0 的尺寸。"));
        // Other texts that are looked up meanwhile are English as ever.
        QCOMPARE(QCoreApplication::translate("MainWindow", "Restart"), QStringLiteral("Restart"));
    });
    QCOMPARE(dialogs, 1);
}

void TestScaleChanges::executeRenewsTheCell() {
    WindowUnderTest window;
    start(window, "CellWidth=10\nCellHeight=10\nCellWidthPx=77\nCellHeightPx=77\n",
          "X0=0\nY0=0\nX1=320\nY1=0\n", false);
    execute(window, {"0"});  // no cell: nothing is calibrated
    QCOMPARE(key("CellWidthPx"), QStringLiteral("77"));
    execute(window, {"13"});
    QVERIFY(std::abs(key("CellWidthPx").toDouble() - 20.0) < 1e-4);
    QVERIFY(std::abs(key("CellHeightPx").toDouble() - 20.0) < 1e-4);
    QCOMPARE(key("CellWidth"), QStringLiteral("10"));
    show(window);
    window.action("actionRearrange")->trigger();
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\nLine #ff0000 1 1 | 250 50 350 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - 50.0) < 1e-3);
    QTRY_COMPARE(measure(window, 1).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window, 1).value - (100 - kStep) * kPerPixel) < 1e-3);
}

void TestScaleChanges::executeWithoutAScaleStoresNone() {
    WindowUnderTest window;
    start(window, {}, "X0=0\nY0=0\nX1=320\nY1=0\n", false);
    execute(window, {"13"});
    QVERIFY(window.action("actionEnable")->isChecked());
    for (const char* name : {"CellWidth", "CellHeight", "CellWidthPx", "CellHeightPx", "Unit"})
        QVERIFY2(key(name).isNull(), name);
}

void TestScaleChanges::unitAloneStoresNoCell() {
    WindowUnderTest window;
    start(window, {});
    ask(window, [](ScaleDialog& dialog) {
        dialog.findChild<QComboBox*>(QStringLiteral("cbUnit"))->setCurrentIndex(0);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(key("Unit"), QStringLiteral("0"));
    for (const char* name : {"CellWidth", "CellHeight", "CellWidthPx", "CellHeightPx"})
        QVERIFY2(key(name).isNull(), name);
}

/// What was asked before the last calibration is not what a cell has now.
void TestScaleChanges::scaleAfterAnotherCalibration() {
    WindowUnderTest window;
    start(window, "CellWidthPx=20\nCellHeightPx=20\n", "X0=0\nY0=0\nX1=320\nY1=0\n", false);
    execute(window, {"13"});
    enterCell(window, 0, 0);  // cannot be accepted
    execute(window, {"26"});
    QVERIFY(key("CellWidthPx").isNull());
    show(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\nLine #ff0000 1 1 | 100 50 100 150\r\n");
    enterCell(window, 5, 10);  // of 10 x 20 px
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window, 0).value - 50.0) < 1e-3);
    QVERIFY(std::abs(measure(window, 1).value - 50.0) < 1e-3);
    QVERIFY(std::abs(key("CellWidthPx").toDouble() - 10.0) < 1e-4);
}

/// An earlier run has left it in the settings; the calibration is another one.
void TestScaleChanges::cellOfAnotherRun() {
    WindowUnderTest window;
    start(window, "CellWidthPx=77\nCellHeightPx=77\n");
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    enterCell(window, 10, 10);
    QVERIFY(std::abs(measure(window).value - 50.0) < 1e-3);
    QVERIFY(std::abs(key("CellWidthPx").toDouble() - 20.0) < 1e-4);
}

/// Its counts are stored, but the calibration in use was made with others.
void TestScaleChanges::failedExecuteLeavesTheScale() {
    WindowUnderTest window;
    start(window, {}, "X0=0\nY0=0\nX1=320\nY1=0\n", false);
    execute(window, {"13"});
    execute(window, {"0"});
    QVERIFY(!key("XCount").contains(QLatin1String("13")));
    show(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    enterCell(window, 10, 10);
    QVERIFY(std::abs(measure(window).value - 50.0) < 1e-3);
    window.end();
    window.start();
    QTRY_VERIFY(window->isMaximized());
    show(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - 50.0) < 1e-3);
}

void TestScaleChanges::exchangedCalibration_data() {
    QTest::addColumn<QByteArray>("px");
    QTest::addColumn<double>("cell");
    // Of 13 x 9 cells of 18.3 px.
    QTest::newRow("of another one") << QByteArray("CellWidthPx=20\nCellHeightPx=20\n") << 18.3;
    QTest::newRow("of another one in y alone") << QByteArray("CellWidthPx=18.3\nCellHeightPx=20\n") << 18.3;
    QTest::newRow("none") << QByteArray() << 18.3;
    QTest::newRow("no numbers") << QByteArray("CellWidthPx=nan\nCellHeightPx=inf\n") << 18.3;
    // The counts in the settings are those of an Execute that failed.
    QTest::newRow("its own") << QByteArray("CellWidthPx=36.6\nCellHeightPx=18.3\nXCount=\"10,10\"\n") << 36.6;
}

void TestScaleChanges::exchangedCalibration() {
    QFETCH(QByteArray, px);
    QFETCH(double, cell);
    const bool isDoubled = cell > 20.0;
    const auto upright = rectangle(40.0, 30.0, isDoubled ? 40.0 + 7 * 36.6 : 277.9, 194.7);
    WindowUnderTest window;
    QCOMPARE(writeCalibrations({calibrationOf(upright, upright), calibrationOf(upright, upright)}),
             QString());
    start(window, "CellWidth=10\nCellHeight=10\n" + px, "X0=0\nY0=0\nX1=238\nY1=0\n", false);
    window.action("actionRearrange")->trigger();
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\nLine #ff0000 1 1 | 100 50 100 150\r\n");
    QTRY_COMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY2(std::abs(measure(window, 0).value - 1000.0 / cell) < 1e-3,
             qPrintable(QString::number(measure(window, 0).value)));
    QVERIFY2(std::abs(measure(window, 1).value - 1000.0 / 18.3) < 1e-3,
             qPrintable(QString::number(measure(window, 1).value)));
}

void TestScaleChanges::digitsThatAreStored() {
    WindowUnderTest window;
    start(window, {});
    window.action("measureLine")->trigger();
    const auto* view = window.view();
    for (const QPointF point : {QPointF(100, 50), QPointF(200, 90)})
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(point));
    ask(window, [](ScaleDialog& dialog) {
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbLine"))->setValue(77.7);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    for (const char* name : {"CellWidth", "CellHeight", "CellWidthPx", "CellHeightPx"}) {
        QVERIFY2(key(name).toDouble() > 0.0, name);
        QVERIFY2(key(name).size() <= 11, qPrintable(key(name)));
    }
}

void TestScaleChanges::whatIsNotTouchedStays_data() {
    QTest::addColumn<QByteArray>("width");
    QTest::addColumn<QByteArray>("height");
    QTest::addColumn<bool>("byLine");
    for (const bool byLine : {false, true}) {
        const char* how = byLine ? "by a line" : "by a cell";
        QTest::addRow("%s", how) << QByteArray("0.0213456") << QByteArray("0.0213457") << byLine;
        QTest::addRow("%s, all digits", how)
            << QByteArray("10.12345678901234") << QByteArray("0.1234567890123") << byLine;
        QTest::addRow("%s, small", how) << QByteArray("0.00002") << QByteArray("0.000003") << byLine;
        QTest::addRow("%s, large", how) << QByteArray("250000.5") << QByteArray("250001") << byLine;
    }
}

/// Who opens the dialog to look at it, or for the unit, has not asked for another scale.
void TestScaleChanges::whatIsNotTouchedStays() {
    QFETCH(QByteArray, width);
    QFETCH(QByteArray, height);
    QFETCH(bool, byLine);
    WindowUnderTest window;
    start(window, "CellWidth=" + width + "\nCellHeight=" + height + "\nCellWidthPx=20\nCellHeightPx=20\n");
    window.action("measureLine")->trigger();
    const auto* view = window.view();
    for (const QPointF point : {QPointF(100, 50), QPointF(200, 90)})
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(point));
    const double before = measure(window).value;
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    for (const int unit : {1, 2}) {
        ask(window, [&](ScaleDialog& dialog) {
            if (byLine)
                dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->setChecked(true);
            dialog.findChild<QComboBox*>(QStringLiteral("cbUnit"))->setCurrentIndex(unit);
            auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("btnOK"));
            QVERIFY(ok->isEnabled());
            ok->click();
        });
        QCOMPARE(key("CellWidth"), QString::fromLatin1(width));
        QCOMPARE(key("CellHeight"), QString::fromLatin1(height));
        const double expected = unit == 1 ? before : before * 1000;
        QVERIFY(std::abs(measure(window).value - expected) < 1e-6 * expected);  // in single precision
    }
    QCOMPARE(dialogs, 2);
    // One side alone.
    ask(window, [&](ScaleDialog& dialog) {
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(7.5);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(key("CellWidth"), QStringLiteral("7.5"));
    QCOMPARE(key("CellHeight").toDouble(), height.toDouble());
}

void TestScaleChanges::smallCellsCanBeTyped() {
    WindowUnderTest window;
    start(window);
    ask(window, [](ScaleDialog& dialog) {
        for (const char* name : {"sbCellX", "sbCellY"}) {
            auto* box = dialog.findChild<QDoubleSpinBox*>(QLatin1String(name));
            QCOMPARE(box->text(), QStringLiteral("10.0000 mm"));
            box->selectAll();
            QTest::keyClicks(box, QStringLiteral("0.0000215"));
        }
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(key("CellWidth").toDouble(), 2.15e-5);
    ask(window, [](ScaleDialog& dialog) {
        QCOMPARE(dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->text(),
                 QStringLiteral("0.0000215 mm"));
    });
    QCOMPARE(dialogs, 2);
}

QTEST_MAIN(TestScaleChanges)
#include "tst_scalechanges.moc"
