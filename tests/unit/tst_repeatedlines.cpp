// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "app/repeatedlines.h"

/// How often a repeated line of the log is told. The time is the test's.
class TestRepeatedLines : public QObject {
    Q_OBJECT

private slots:
    void firstOnesAreToldAtOnce();
    void repeatsAreToldOnceAPeriod();
    void othersBetweenMakeNoDifference();
    void kindIsTypeAndCategoryAndText();
    void quietPeriodIsForgotten();
    void dueWithoutAnotherLine();
    void numberInWords_data();
    void numberInWords();
    void restIsToldOnce();
    void memoryIsBounded();
    void everyLineIsAccountedFor();

private:
    static LogLine line(const QString& text) { return {QtDebugMsg, "default", text}; }
    static QStringList texts(const QVector<LogLine>& lines) {
        QStringList result;
        for (const LogLine& told : lines)
            result.append(told.text);
        return result;
    }
    static QStringList feed(RepeatedLines& lines, const QString& text, qint64 now) {
        return texts(lines.feed(line(text), now));
    }
    /// Feeds a line until it is counted.
    static void fill(RepeatedLines& lines, const QString& text, qint64 now) {
        for (int i = 0; i < RepeatedLines::kToldAtOnce; ++i)
            QCOMPARE(feed(lines, text, now), QStringList{text});
    }
};

/// Each of four cameras may say the same.
void TestRepeatedLines::firstOnesAreToldAtOnce() {
    RepeatedLines lines;
    fill(lines, "exit capture", 5);
    QCOMPARE(feed(lines, "exit capture", 6), QStringList());
    QCOMPARE(lines.rest(6).size(), 1);
}

void TestRepeatedLines::repeatsAreToldOnceAPeriod() {
    RepeatedLines lines;
    fill(lines, "drop", 0);
    for (int i = 0; i < 1180; ++i)
        QCOMPARE(feed(lines, "drop", i), QStringList());
    QCOMPARE(feed(lines, "drop", 9999), QStringList());
    // It goes on: one line a period, not even the first ones again.
    QCOMPARE(feed(lines, "drop", 10'000), QStringList{"drop (repeated 1181 times in 10 s)"});
    QCOMPARE(feed(lines, "drop", 19'999), QStringList());
    QCOMPARE(feed(lines, "drop", 20'000), QStringList{"drop (repeated 2 times in 10 s)"});
}

void TestRepeatedLines::othersBetweenMakeNoDifference() {
    RepeatedLines lines;
    fill(lines, "drop", 0);
    for (int i = 0; i < 20; ++i) {
        QCOMPARE(feed(lines, "drop", i), QStringList());
        QCOMPARE(feed(lines, QString::number(i), i), QStringList{QString::number(i)});
    }
    QCOMPARE(feed(lines, "x", 10'000), (QStringList{"drop (repeated 20 times in 10 s)", "x"}));
}

void TestRepeatedLines::kindIsTypeAndCategoryAndText() {
    RepeatedLines lines;
    fill(lines, "a", 0);
    QCOMPARE(feed(lines, "a", 1), QStringList());
    QCOMPARE(lines.feed({QtWarningMsg, "default", "a"}, 2).size(), 1);
    const auto other = lines.feed({QtDebugMsg, "qt.qpa", "a"}, 3);
    QCOMPARE(other.size(), 1);
    QCOMPARE(other.first().category, QByteArray("qt.qpa"));
    QCOMPARE(feed(lines, "b", 4), QStringList{"b"});
    const auto rest = lines.rest(5);
    QCOMPARE(texts(rest), QStringList{"a (repeated once in 1 s)"});
    QCOMPARE(rest.first().type, QtDebugMsg);
    QCOMPARE(rest.first().category, QByteArray("default"));
}

/// After a period in which nothing was counted, a line is as good as new.
void TestRepeatedLines::quietPeriodIsForgotten() {
    RepeatedLines lines;
    fill(lines, "drop", 0);
    fill(lines, "drop", 10'000);
    QCOMPARE(feed(lines, "drop", 10'000), QStringList());
    QCOMPARE(texts(lines.due(20'000)), QStringList{"drop (repeated once in 10 s)"});
    // The period after that one was quiet.
    QCOMPARE(texts(lines.due(30'000)), QStringList());
    fill(lines, "drop", 30'000);
}

void TestRepeatedLines::dueWithoutAnotherLine() {
    RepeatedLines lines;
    fill(lines, "drop", 100);
    feed(lines, "drop", 101);
    fill(lines, "other", 5000);
    feed(lines, "other", 5000);
    QCOMPARE(texts(lines.due(10'099)), QStringList());
    QCOMPARE(texts(lines.due(10'100)), QStringList{"drop (repeated once in 10 s)"});
    QCOMPARE(texts(lines.due(10'100)), QStringList());
    // However late it is told, it came within the period.
    QCOMPARE(texts(lines.due(500'000)), QStringList{"other (repeated once in 10 s)"});
}

void TestRepeatedLines::numberInWords_data() {
    QTest::addColumn<int>("count");
    QTest::addColumn<qint64>("end");
    QTest::addColumn<QString>("text");
    QTest::newRow("at once") << 1 << qint64(0) << "x (repeated once in 1 s)";
    QTest::newRow("1 s") << 2 << qint64(1000) << "x (repeated 2 times in 1 s)";
    QTest::newRow("a little more") << 3 << qint64(1001) << "x (repeated 3 times in 2 s)";
    QTest::newRow("nearly all") << 4 << qint64(9999) << "x (repeated 4 times in 10 s)";
    QTest::newRow("long after") << 5 << qint64(70'000) << "x (repeated 5 times in 10 s)";
}

void TestRepeatedLines::numberInWords() {
    QFETCH(int, count);
    QFETCH(qint64, end);
    QFETCH(QString, text);
    RepeatedLines lines;
    fill(lines, "x", 0);
    for (int i = 0; i < count; ++i)
        feed(lines, "x", 0);
    QCOMPARE(texts(lines.rest(end)), QStringList{text});
}

void TestRepeatedLines::restIsToldOnce() {
    RepeatedLines lines;
    QCOMPARE(texts(lines.rest(0)), QStringList());
    fill(lines, "a", 0);
    fill(lines, "b", 1);
    feed(lines, "b", 2);
    feed(lines, "a", 3);
    QCOMPARE(texts(lines.rest(2500)), (QStringList{"a (repeated once in 3 s)", "b (repeated once in 3 s)"}));
    QCOMPARE(texts(lines.rest(2500)), QStringList());
    fill(lines, "a", 2501);
}

/// A line with a number in it is another kind each time.
void TestRepeatedLines::memoryIsBounded() {
    RepeatedLines lines;
    fill(lines, "drop", 0);
    feed(lines, "drop", 0);
    fill(lines, "quiet", 0);
    for (int i = 2; i < RepeatedLines::kKinds; ++i)
        QCOMPARE(feed(lines, QString::number(i), 0), QStringList{QString::number(i)});
    // One too many: what was counted is told, not lost. The next to go has nothing to tell.
    QCOMPARE(feed(lines, "more", 0), (QStringList{"drop (repeated once in 1 s)", "more"}));
    QCOMPARE(feed(lines, "still more", 0), QStringList{"still more"});
    fill(lines, "quiet", 0);
}

/// Whatever comes: as many lines go in as are told or counted in what is told.
void TestRepeatedLines::everyLineIsAccountedFor() {
    RepeatedLines lines;
    QHash<QString, int> fed;
    QHash<QString, int> told;
    int lineCount = 0;
    const auto account = [&](const QVector<LogLine>& some) {
        const QRegularExpression summary(" \\(repeated (once|(\\d+) times) in \\d+ s\\)$");
        for (const LogLine& line : some) {
            const auto match = summary.match(line.text);
            QString text = line.text;
            told[text.remove(summary)] += !match.hasMatch() ? 1 : qMax(1, match.captured(2).toInt());
            ++lineCount;
        }
    };
    quint32 seed = 7;
    qint64 now = 0;
    for (int i = 0; i < 20'000; ++i) {
        seed = seed * 1664525 + 1013904223;
        now += seed >> 28;
        const QString text = QString::number(seed >> 24 & (i % 2000 < 1000 ? 3 : 127));
        ++fed[text];
        account(lines.feed(line(text), now));
    }
    account(lines.rest(now));
    QCOMPARE(told, fed);
    QVERIFY2(lineCount < 16'000, qPrintable(QString::number(lineCount)));
}

QTEST_GUILESS_MAIN(TestRepeatedLines)
#include "tst_repeatedlines.moc"
