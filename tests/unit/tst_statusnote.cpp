// SPDX-License-Identifier: Apache-2.0
#include <QLabel>
#include <QLayout>
#include <QMainWindow>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QtTest>

#include "app/programlog.h"
#include "app/statusline.h"

using About = StatusNote::About;

/// The labels of the status bar, without a window's work behind them.
class TestStatusNote : public QObject {
    Q_OBJECT

private slots:
    void hiddenWhileThereIsNothingToSay();
    void nextSuccessOfTheSameKindTakesItAway();
    void countingOnKeepsThePlace();
    void numberOfSeveralIsSeen();
    void textsFromOutsideAreNoMarkup();
    void longTextsKeepTheWindow();
    void liesBetweenTheOthers();
    void logThatIsNotWrittenIsTold();
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

/// A text that is told every second does not cover what is told once.
void TestStatusNote::countingOnKeepsThePlace() {
    StatusNote note;
    note.tell(About::Cameras, QStringLiteral("for 3 s"));
    note.tell(About::Picture, QStringLiteral("picture"));
    note.tell(About::Cameras, QStringLiteral("for 4 s"));
    QCOMPARE(note.text(), QStringLiteral("picture"));
    QVERIFY2(note.toolTip().contains(QStringLiteral("for 4 s")), qPrintable(note.toolTip()));
    note.tell(About::Picture, {});
    QCOMPARE(note.text(), QStringLiteral("for 4 s"));
    note.tell(About::Cameras, QStringLiteral("for 5 s"));
    QCOMPARE(note.text(), QStringLiteral("for 5 s"));
    note.tell(About::Cameras, {});
    QVERIFY(note.isHidden());
    // One that begins is the latest.
    note.tell(About::Picture, QStringLiteral("picture"));
    note.tell(About::Cameras, QStringLiteral("for 3 s"));
    QCOMPARE(note.text(), QStringLiteral("for 3 s"));
}

/// Or the newest would pass for the only one.
void TestStatusNote::numberOfSeveralIsSeen() {
    StatusNote note;
    note.tell(About::Picture, QStringLiteral("Picture not written"));
    note.resize(note.sizeHint());
    const QImage alone = note.grab().toImage();
    const int width = note.sizeHint().width();
    note.tell(About::Cameras, QStringLiteral("for 3 s"));
    note.tell(About::Picture, QStringLiteral("Picture not written"));
    QCOMPARE(note.text(), QStringLiteral("Picture not written"));
    const QString number = QStringLiteral("(1 of 2) ");
    QCOMPARE(note.sizeHint().width(), width + note.fontMetrics().horizontalAdvance(number + note.text()) -
                                          note.fontMetrics().horizontalAdvance(note.text()));
    QVERIFY(note.grab().toImage() != alone);
    note.tell(About::Cameras, {});
    QCOMPARE(note.sizeHint().width(), width);
    QCOMPARE(note.grab().toImage(), alone);
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
    // As the form makes it: a bar that the window makes itself has no say in the window's width.
    window.setStatusBar(new QStatusBar(&window));
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
    // Words make a label's least width, and a window follows it when it is laid out again.
    line.note(About::Picture, QStringLiteral("Picture not written ").repeated(30));
    window.layout()->invalidate();
    window.layout()->activate();
    QCoreApplication::processEvents();
    QVERIFY2(window.minimumSizeHint().width() < 500,
             qPrintable(QString::number(window.minimumSizeHint().width())));
    QCOMPARE(window.width(), 500);
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

/// Until it is, without a word more. The folder of the log is a file at first.
void TestStatusNote::logThatIsNotWrittenIsTold() {
    const QTemporaryDir folder;
    QFile file(folder.filePath("logs"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    const ProgramLog log(folder.filePath("logs/station.log"));
    QMainWindow window;
    StatusLine line(window.statusBar());
    const auto* note = window.findChild<StatusNote*>(QStringLiteral("statusNote"));
    line.showRates({});
    QVERIFY(note->isHidden());
    qWarning("written at once");
    QTRY_VERIFY(!logProblem().isEmpty());
    line.showRates({});
    QVERIFY(!note->isHidden());
    QVERIFY2(QRegularExpression("^The log cannot be written: \\S").match(note->text()).hasMatch(),
             qPrintable(note->text()));
    // It does not push itself before others, time and again.
    line.note(About::Picture, QStringLiteral("picture"));
    line.showRates({});
    QCOMPARE(note->text(), QStringLiteral("picture"));
    line.note(About::Picture, {});
    QVERIFY(file.remove());
    qWarning("written now");
    QTRY_VERIFY_WITH_TIMEOUT(logProblem().isEmpty(), 20'000);
    line.showRates({});
    QVERIFY(note->isHidden());
    flushLog();
    QFile written(folder.filePath("logs/station.log"));
    QVERIFY(written.open(QIODevice::ReadOnly));
    const QByteArray text = written.readAll();
    QCOMPARE(text.count("Status bar: The log cannot be written"), text.contains("is over") ? 2 : 1);
}

QTEST_MAIN(TestStatusNote)
#include "tst_statusnote.moc"
