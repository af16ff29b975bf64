#include <QLabel>
#include <QMainWindow>
#include <QStatusBar>
#include <QtTest>

#include "app/statusline.h"

using About = StatusNote::About;

/// The labels of the status bar, without a window's work behind them.
class TestStatusNote : public QObject {
    Q_OBJECT

private slots:
    void hiddenWhileThereIsNothingToSay();
    void nextSuccessOfTheSameKindTakesItAway();
    void textsFromOutsideAreNoMarkup();
    void longTextsKeepTheWindow();
    void liesBetweenTheOthers();
};

void TestStatusNote::hiddenWhileThereIsNothingToSay() {
    StatusNote note;
    QVERIFY(note.isHidden());
    note.tell(About::Picture, {});
    QVERIFY(note.isHidden());
    note.tell(About::Picture, QStringLiteral("Picture not written"));
    QVERIFY(!note.isHidden());
    QCOMPARE(note.text(), QStringLiteral("Picture not written"));
}

void TestStatusNote::nextSuccessOfTheSameKindTakesItAway() {
    StatusNote note;
    note.tell(About::Settings, QStringLiteral("settings"));
    note.tell(About::Picture, QStringLiteral("picture"));
    QCOMPARE(note.text(), QStringLiteral("picture"));
    note.tell(About::Picture, QStringLiteral("picture again"));
    QCOMPARE(note.text(), QStringLiteral("picture again"));
    note.tell(About::Marks, {});
    QCOMPARE(note.text(), QStringLiteral("picture again"));
    note.tell(About::Picture, {});
    QCOMPARE(note.text(), QStringLiteral("settings"));
    note.tell(About::Settings, {});
    QVERIFY(note.isHidden());
    QVERIFY(note.toolTip().isEmpty());
}

void TestStatusNote::textsFromOutsideAreNoMarkup() {
    StatusNote note;
    note.tell(About::Picture, QStringLiteral("<b>x</b>"));
    note.tell(About::Marks, QStringLiteral("second"));
    QCOMPARE(note.textFormat(), Qt::PlainText);
    QVERIFY2(note.toolTip().contains(QStringLiteral("&lt;b&gt;x&lt;/b&gt;")), qPrintable(note.toolTip()));
    QVERIFY(note.toolTip().indexOf(QStringLiteral("second")) < note.toolTip().indexOf(QStringLiteral("x")));
}

void TestStatusNote::longTextsKeepTheWindow() {
    QMainWindow window;
    StatusLine line(window.statusBar());
    window.resize(500, 200);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    line.note(About::Picture, QString(5000, QLatin1Char('x')));
    QCoreApplication::processEvents();
    QCOMPARE(window.width(), 500);
    const auto* note = window.findChild<QLabel*>(QStringLiteral("statusNote"));
    QVERIFY(note->isVisible());
    QVERIFY(window.minimumSizeHint().width() < 500);
    QVERIFY(note->geometry().right() < window.statusBar()->width());
}

void TestStatusNote::liesBetweenTheOthers() {
    QMainWindow window;
    StatusLine line(window.statusBar());
    window.resize(1200, 200);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    line.showMessage(QStringLiteral("Saved image a"));
    line.showRates(QStringLiteral("Camera fps: ( 15.00 )"));
    line.note(About::Picture, QStringLiteral("Picture not written: No space left on device"));
    QCoreApplication::processEvents();
    const auto labels = window.statusBar()->findChildren<QLabel*>();
    QCOMPARE(labels.size(), 3);
    auto* note = window.findChild<QLabel*>(QStringLiteral("statusNote"));
    QCOMPARE(labels[0]->text(), QStringLiteral("Saved image a"));
    QCOMPARE(labels[1]->text(), QStringLiteral("Camera fps: ( 15.00 )"));
    QVERIFY(labels[0]->geometry().right() < note->geometry().left());
    QVERIFY(note->geometry().right() < labels[1]->geometry().right());
    // All of it can be read.
    QVERIFY(note->width() >= note->sizeHint().width());
}

QTEST_MAIN(TestStatusNote)
#include "tst_statusnote.moc"
