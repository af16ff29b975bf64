// SPDX-License-Identifier: Apache-2.0
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include "calibration/calibratedialog.h"

namespace {

constexpr const char* kFields[2][4] = {{"leXCount", "leXCount1", "leXCount2", "leXCount3"},
                                       {"leYCount", "leYCount1", "leYCount2", "leYCount3"}};

}  // namespace

/// The dialog that asks for the grid counts.
class TestCalibrateDialog : public QObject {
    Q_OBJECT

private slots:
    void countsAreShown_data();
    void countsAreShown();
    void startsWithZeros();
    void okReadsEveryField();
    void cancelKeepsTheCounts();
    void textsAndPlaces();
    void countsStayBetweenUses();
    void isModalAndHidden();
    void okByKeyboard();

private:
    static QString shown(const CalibrateDialog& dialog);
    static QLineEdit* field(const CalibrateDialog& dialog, const char* name) {
        return dialog.findChild<QLineEdit*>(QLatin1String(name));
    }
};

/// "5/2 3/2 5/2 -": the fields by camera, "-" where they are empty and disabled.
QString TestCalibrateDialog::shown(const CalibrateDialog& dialog) {
    QStringList cameras;
    for (int i = 0; i < 4; ++i) {
        const auto* x = field(dialog, kFields[0][i]);
        const auto* y = field(dialog, kFields[1][i]);
        const bool off = !x->isEnabled() && !y->isEnabled() && x->text().isEmpty() && y->text().isEmpty();
        cameras.append(off ? QStringLiteral("-") : x->text() + QLatin1Char('/') + y->text());
    }
    return cameras.join(QLatin1Char(' '));
}

void TestCalibrateDialog::countsAreShown_data() {
    QTest::addColumn<QString>("xs");
    QTest::addColumn<QString>("ys");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* name, const char* xs, const char* ys, int count, const char* expected) {
        QTest::newRow(name) << QString::fromLatin1(xs) << QString::fromLatin1(ys) << count
                            << QString::fromLatin1(expected);
    };
    row("three cameras", "5,3,5", "2,2,2", 3, "5/2 3/2 5/2 -");
    row("four cameras, three parts", "5,3,5", "2,2,2", 4, "5/2 3/2 5/2 0/0");
    row("empty part", "5,,5", "2,2,2", 3, "5/2 0/2 5/2 -");
    row("no number", "5,x,5", "2, 7 ,-1", 3, "5/2 0/7 5/-1 -");
    row("more parts than cameras", "5,3,5", "2,2,2", 1, "5/2 - - -");
    row("empty", "", "", 2, "0/0 0/0 - -");
    row("no camera", "5", "2", 0, "- - - -");
    row("five parts", "1,2,3,4,5", "1,2,3,4,5", 4, "1/1 2/2 3/3 4/4");
}

void TestCalibrateDialog::countsAreShown() {
    QFETCH(QString, xs);
    QFETCH(QString, ys);
    QFETCH(int, count);
    CalibrateDialog dialog;
    dialog.setCounts(xs, ys, count);
    QTEST(shown(dialog), "expected");
}

void TestCalibrateDialog::startsWithZeros() {
    const CalibrateDialog dialog;
    QCOMPARE(dialog.xCounts, (std::array<int, 4>{0, 0, 0, 0}));
    QCOMPARE(dialog.yCounts, (std::array<int, 4>{0, 0, 0, 0}));
}

void TestCalibrateDialog::okReadsEveryField() {
    CalibrateDialog dialog;
    dialog.setCounts(QStringLiteral("5,3,5"), QStringLiteral("2,2,2"), 3);
    field(dialog, "leXCount")->setText(QStringLiteral("12"));
    field(dialog, "leXCount1")->setText(QStringLiteral("many"));
    field(dialog, "leYCount2")->setText(QStringLiteral("-4"));
    QSignalSpy accepted(&dialog, &QDialog::accepted);
    dialog.show();
    dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    QCOMPARE(accepted.count(), 1);
    QCOMPARE(dialog.xCounts, (std::array<int, 4>{12, 0, 5, 0}));
    QCOMPARE(dialog.yCounts, (std::array<int, 4>{2, 2, -4, 0}));
}

void TestCalibrateDialog::cancelKeepsTheCounts() {
    CalibrateDialog dialog;
    dialog.setCounts(QStringLiteral("5,3,5"), QStringLiteral("2,2,2"), 3);
    field(dialog, "leXCount")->setText(QStringLiteral("12"));
    QSignalSpy rejected(&dialog, &QDialog::rejected);
    dialog.show();
    dialog.findChild<QPushButton*>(QStringLiteral("btnCancel"))->click();
    QCOMPARE(rejected.count(), 1);
    QCOMPARE(dialog.xCounts, (std::array<int, 4>{5, 3, 5, 0}));
    QCOMPARE(dialog.yCounts, (std::array<int, 4>{2, 2, 2, 0}));
}

void TestCalibrateDialog::textsAndPlaces() {
    const CalibrateDialog dialog;
    QCOMPARE(dialog.windowTitle(), QStringLiteral("CalibrateDialog"));
    const auto* grid = dialog.findChild<QGridLayout*>();
    QVERIFY(grid);
    const auto text = [grid](int row, int column) {
        const auto* label = qobject_cast<QLabel*>(grid->itemAtPosition(row, column)->widget());
        return label ? label->text() : QString();
    };
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(text(0, i + 1), QStringLiteral("Camera %1").arg(i));
        for (int row = 0; row < 2; ++row)
            QCOMPARE(grid->itemAtPosition(row + 1, i + 1)->widget()->objectName(),
                     QLatin1String(kFields[row][i]));
    }
    QCOMPARE(text(1, 0), QStringLiteral("X Grid Count"));
    QCOMPARE(text(2, 0), QStringLiteral("Y Grid Count"));
    QStringList labels;
    for (const auto* label : dialog.findChildren<QLabel*>())
        labels.append(label->text());
    QVERIFY(labels.contains(QStringLiteral("Set grid count.")));
    QCOMPARE(dialog.findChild<QPushButton*>(QStringLiteral("btnCancel"))->text(), QStringLiteral("Cancel"));
}

void TestCalibrateDialog::countsStayBetweenUses() {
    CalibrateDialog dialog;
    dialog.setCounts(QStringLiteral("1,2,3,4"), QStringLiteral("5,6,7,8"), 4);
    dialog.setCounts(QStringLiteral("9"), QStringLiteral("9"), 4);
    QCOMPARE(shown(dialog), QStringLiteral("9/9 2/6 3/7 4/8"));
}

void TestCalibrateDialog::isModalAndHidden() {
    const CalibrateDialog dialog;
    QVERIFY(dialog.isModal());
    QVERIFY(dialog.isHidden());
    QCOMPARE(dialog.size(), QSize(374, 133));
    QVERIFY(dialog.metaObject()->indexOfSlot("on_leYCount_editingFinished()") >= 0);
}

void TestCalibrateDialog::okByKeyboard() {
    CalibrateDialog dialog;
    dialog.setCounts(QStringLiteral("5"), QStringLiteral("2"), 1);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QSignalSpy accepted(&dialog, &QDialog::accepted);
    QTest::keyClick(field(dialog, "leXCount"), Qt::Key_Return);
    QCOMPARE(accepted.count(), 1);
}

QTEST_MAIN(TestCalibrateDialog)
#include "tst_calibratedialog.moc"
