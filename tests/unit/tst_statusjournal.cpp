// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "app/logfile.h"
#include "app/logrecord.h"
#include "app/statusjournal.h"

using About = StatusNote::About;

/// What of the status bar stands in the log. The time is the test's.
class TestStatusJournal : public QObject {
    Q_OBJECT

private slots:
    void noteBeginsChangesAndGoes();
    void notesDoNotMix();
    void countingOnIsNoLine();
    void rareMessagesAreTold();
    void manyMessagesAreCounted();
    void busyStationKeepsTwoWeeks();
    void flappingNotesAreCounted();
    void lastOnesAreTold();
};

void TestStatusJournal::noteBeginsChangesAndGoes() {
    StatusJournal journal;
    QCOMPARE(journal.note(About::Picture, {}, 0), QStringList());
    QCOMPARE(journal.note(About::Picture, "disk full", 0), QStringList{"Status bar: disk full"});
    QCOMPARE(journal.note(About::Picture, "disk full", 0), QStringList());
    QCOMPARE(journal.note(About::Picture, "disk away", 0), QStringList{"Status bar: disk away"});
    QCOMPARE(journal.note(About::Picture, {}, 0), QStringList{"Status bar: disk away - is over"});
    QCOMPARE(journal.note(About::Picture, {}, 0), QStringList());
}

void TestStatusJournal::notesDoNotMix() {
    StatusJournal journal;
    journal.note(About::Picture, "picture", 0);
    QCOMPARE(journal.note(About::Marks, {}, 0), QStringList());
    QCOMPARE(journal.note(About::Marks, "picture", 0), QStringList{"Status bar: picture"});
    QCOMPARE(journal.note(About::Picture, {}, 0), QStringList{"Status bar: picture - is over"});
}

void TestStatusJournal::countingOnIsNoLine() {
    StatusJournal journal;
    QCOMPARE(journal.note(About::Cameras, "Camera 0: no picture for 3 s", 0),
             QStringList{"Status bar: Camera 0: no picture for 3 s"});
    for (int second = 4; second < 100; ++second)
        QCOMPARE(journal.note(About::Cameras, QString("Camera 0: no picture for %1 s").arg(second), 0),
                 QStringList());
    QCOMPARE(journal.note(About::Cameras, "Cameras 0, 2: no picture for 100 s, 3 s", 0),
             QStringList{"Status bar: Cameras 0, 2: no picture for 100 s, 3 s"});
    QCOMPARE(journal.note(About::Cameras, "Camera 2: no picture for 4 s", 0),
             QStringList{"Status bar: Camera 2: no picture for 4 s"});
    QCOMPARE(journal.note(About::Cameras, "Camera 2: no picture for 5 s", 0), QStringList());
    // How long it was.
    QCOMPARE(journal.note(About::Cameras, {}, 0),
             QStringList{"Status bar: Camera 2: no picture for 5 s - is over"});
}

void TestStatusJournal::rareMessagesAreTold() {
    StatusJournal journal;
    for (qint64 now = 0; now < 3'600'000; now += StatusJournal::kShare) {
        QCOMPARE(journal.due(now), QStringList());
        QCOMPARE(journal.message(QString::number(now), now),
                 QStringList{"Status bar: " + QString::number(now)});
    }
}

/// All of a burst, and of what goes on coming a few a minute.
void TestStatusJournal::manyMessagesAreCounted() {
    StatusJournal journal;
    QStringList lines;
    for (int i = 0; i < 600; ++i)
        lines += journal.message(QString::number(i), i * 100);
    // At 30 s one more was counted: the period began at 3 s.
    QCOMPARE(lines.size(), int(StatusJournal::kBurst));
    QCOMPARE(journal.due(62'999), QStringList());
    QCOMPARE(journal.due(63'000), QStringList{"Status bar: 570 more messages, the last: 599"});
    QCOMPARE(journal.due(63'001), QStringList());
    // Two shares came together meanwhile, and what they leave is counted again, for a period of its own.
    QCOMPARE(journal.message("x", 70'000), QStringList{"Status bar: x"});
    QCOMPARE(journal.message("y", 70'001), QStringList{"Status bar: y"});
    QCOMPARE(journal.message("z", 80'000), QStringList());
    QCOMPARE(journal.message("a", 139'999), QStringList());
    QCOMPARE(journal.message("b", 140'000),
             (QStringList{"Status bar: 2 more messages, the last: a", "Status bar: b"}));
    QCOMPARE(journal.message("c", 140'001), QStringList{"Status bar: c"});
    QCOMPARE(journal.message("d", 140'002), QStringList());
    // One alone needs no number.
    QCOMPARE(journal.due(200'002), QStringList{"Status bar: d"});
}

/// Ten megabytes of log, of which the oldest fifth may just have gone, are two weeks of a station that saves
/// every second, with names as long as they are.
void TestStatusJournal::busyStationKeepsTwoWeeks() {
    StatusJournal journal;
    qint64 size = 0;
    for (int second = 0; second < 86'400; ++second) {
        const QString name = QStringLiteral("Saved image Q:/pictures/line 3/20261122-154731-%1.png")
                                 .arg(second, 3, 10, QLatin1Char('0'));
        const QStringList lines = journal.due(second * 1000) + journal.message(name, second * 1000);
        for (const QString& line : lines)
            size += fileText({0, "main", {QtInfoMsg, {}, line}}).size();
    }
    const LogFile::Limits limits;
    QVERIFY2(14 * size <= limits.bytes * (limits.files - 1), qPrintable(QString::number(size)));
}

/// As with a loose plug. The notes about something else are told as ever.
void TestStatusJournal::flappingNotesAreCounted() {
    StatusJournal journal;
    QStringList lines;
    for (int second = 0; second < 3600; ++second) {
        const QString problem = second % 2 == 0 ? QStringLiteral("Camera 0: no picture for 3 s") : QString();
        lines += journal.due(second * 1000) + journal.note(About::Cameras, problem, second * 1000);
    }
    QVERIFY2(lines.size() <= StatusJournal::kBurst + 60 * 3, qPrintable(QString::number(lines.size())));
    QVERIFY(lines.contains("Status bar: 60 more notes, the last: Camera 0: no picture for 3 s"));
    QCOMPARE(journal.note(About::Settings, "settings", 3'600'000), QStringList{"Status bar: settings"});
    QCOMPARE(journal.message("x", 3'600'000), QStringList{"Status bar: x"});
}

void TestStatusJournal::lastOnesAreTold() {
    StatusJournal journal;
    for (int i = 0; i < StatusJournal::kBurst + 2; ++i) {
        journal.message(QString::number(i), 0);
        journal.note(About::Load, QString::number(i), 0);
    }
    QCOMPARE(journal.rest(), (QStringList{"Status bar: 2 more messages, the last: 31",
                                          "Status bar: 2 more notes, the last: 31"}));
    QCOMPARE(journal.rest(), QStringList());
}

QTEST_GUILESS_MAIN(TestStatusJournal)
#include "tst_statusjournal.moc"
