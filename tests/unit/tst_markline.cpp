// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "marks/interactivescene.h"
#include "marks/markfile.h"
#include "marks/markline.h"

/// The lines of the mark file: what is written, what is read, what is rejected.
class TestMarkLine : public QObject {
    Q_OBJECT

private slots:
    void numbers_data();
    void numbers();
    void fields();
    void linesComeBack_data();
    void linesComeBack();
    void linesAreRead_data();
    void linesAreRead();
    void linesAreRejected_data();
    void linesAreRejected();

private:
    InteractiveScene scene{nullptr, 1};
};

void TestMarkLine::numbers_data() {
    QTest::addColumn<double>("number");
    QTest::addColumn<QString>("text");
    QTest::newRow("six digits") << 123.4567 << QStringLiteral("123.457");
    QTest::newRow("four before the point") << 1234.5678 << QStringLiteral("1234.57");
    QTest::newRow("a million") << 1e6 << QStringLiteral("1e+06");
    QTest::newRow("below a million") << 999999.0 << QStringLiteral("999999");
    QTest::newRow("negative") << -0.5 << QStringLiteral("-0.5");
    QTest::newRow("small") << 0.00001234 << QStringLiteral("1.234e-05");
    QTest::newRow("whole") << 12.0 << QStringLiteral("12");
    QTest::newRow("zero") << 0.0 << QStringLiteral("0");
}

void TestMarkLine::numbers() {
    QFETCH(double, number);
    QTEST(markNumber(number), "text");
}

void TestMarkLine::fields() {
    const MarkFields some(QStringLiteral("  a  12  x 2.5 -3 "));
    QCOMPARE(some.count(), 5);
    QCOMPARE(some.text(0), QStringLiteral("a"));
    QCOMPARE(some.integer(1), 12);
    QCOMPARE(some.integer(2), 0);
    QCOMPARE(some.point(3), QPointF(2.5, -3));
    QCOMPARE(some.integer(3), 0);  // no whole number
    QCOMPARE(some.text(9), QString());
    QCOMPARE(some.number(9), 0.0);
    QCOMPARE(MarkFields(QString()).count(), 0);
    QCOMPARE(MarkFields(QStringLiteral("1 ").repeated(100000)).count(), int(MarkFields::kMost));
}

void TestMarkLine::linesComeBack_data() {
    QTest::addColumn<QString>("line");
    for (const char* line : {
             "Line #ff0000 3 1 | 60 200 300.5 120.25",
             "Circle #ffff00 1 0 | 1 2 3 4 5 6",
             "Arc #123abc 2 1 | -1 -2 -3 -4 -5 -6",
             "Rectangle #0000ff 1 1 -12.5 | 1 2 3 4",
             "Ellipse #ff0000 1 0 90 | 1 2 3 4",
             "HLine #00ff00 1 1 | 5 6",
             "VLine #00ff00 1 1 | 5 6",
             "Coordinates #0000ff 1 1 | 1234.57 1e+06",
             "Polygon #00ff00 3 1 1 | 1 2 ",
             "Polygon #00ff00 3 1 3 | 1 2 3 4 5 6 ",
         })
        QTest::newRow(line) << QString::fromLatin1(line);
}

void TestMarkLine::linesComeBack() {
    QFETCH(QString, line);
    const auto mark = markFromLine(line, &scene);
    QVERIFY(mark);
    QCOMPARE(mark->toText(), line);
    // Whoever sets it to another number than 1 means on.
    mark->showMeasure = 5;
    QCOMPARE(mark->toText().section(QLatin1Char(' '), 3, 3), QStringLiteral("1"));
}

void TestMarkLine::linesAreRead_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("as");
    const auto row = [](const char* line, const char* as) {
        QTest::newRow(line) << QString::fromLatin1(line) << QString::fromLatin1(as);
    };
    row("HLine  #0000FF   1 1  |  5  6 ", "HLine #0000ff 1 1 | 5 6");
    row("HLine red 1 1 | 5 6", "HLine #ff0000 1 1 | 5 6");
    row("HLine #12f 1 1 | 5 6", "HLine #1122ff 1 1 | 5 6");
    row("HLine nocolour 1 1 | 5 6", "HLine #000000 1 1 | 5 6");
    row("HLine #0000ff x 2 | 5 6", "HLine #0000ff 0 1 | 5 6");
    row("HLine #0000ff 1 -1 | 5 6", "HLine #0000ff 1 0 | 5 6");
    row("HLine #0000ff 1 1 5 6 7", "HLine #0000ff 1 1 | 6 7");  // the bar is skipped by its position
    row("HLine #0000ff 1 1 | a b", "HLine #0000ff 1 1 | 0 0");
    row("HLine #0000ff 1 1 | 5 6 7 8", "HLine #0000ff 1 1 | 5 6");
    row("HLine #0000ff 99999999999 1 | 5 6", "HLine #0000ff 0 1 | 5 6");
    row("Rectangle #0000ff 1 1 x | 1 2 3 4", "Rectangle #0000ff 1 1 0 | 1 2 3 4");
    row("Polygon #00ff00 3 1 2 | 1 2 3 4 5 6 7", "Polygon #00ff00 3 1 2 | 1 2 3 4 ");
}

void TestMarkLine::linesAreRead() {
    QFETCH(QString, line);
    const auto mark = markFromLine(line, &scene);
    QVERIFY(mark);
    QTEST(mark->toText(), "as");
}

void TestMarkLine::linesAreRejected_data() {
    QTest::addColumn<QString>("line");
    for (const char* line : {
             "",
             " ",
             "Line",
             "Coordinates",
             "line #ff0000 3 1 | 1 2 3 4",
             "LINE #ff0000 3 1 | 1 2 3 4",
             " Line #ff0000 3 1 | 1 2 3 4",
             "Lines #ff0000 3 1 | 1 2 3 4",
             "\tLine #ff0000 3 1 | 1 2 3 4",
             "Line\t#ff0000 3 1 | 1 2 3 4",
             "Text #ff0000 1 1 | 1 2 3 4 | 0 x 0 y 1 0 0 0",
             "Line #ff0000 3 1 | 1 2 3",
             "Circle #ff0000 3 1 | 1 2 3 4 5",
             "Arc #ff0000 3 1 | 1 2 3 4 5",
             "Rectangle #ff0000 3 1 0 | 1 2 3",
             "Ellipse #ff0000 3 1 0 | 1 2 3",
             "HLine #ff0000 3 1 | 1",
             "VLine #ff0000 3 1 | 1",
             "Coordinates #ff0000 3 1 | 1",
             "Polygon #ff0000 3 1",
             "Polygon #ff0000 3 1 0",
             "Polygon #ff0000 3 1 0 | ",
             "Polygon #ff0000 3 1 -1 | 1 2",
             "Polygon #ff0000 3 1 x | 1 2",
             "Polygon #ff0000 3 1 2 | 1 2",
             // The last y is missing, which a count of fields from 0 would not notice.
             "Polygon #ff0000 3 1 2 | 1 2 3",
             "Polygon #ff0000 3 1 2147483647 | 1 2 3 4",
             "Polygon #ff0000 3 1 2147483648 | 1 2 3 4",
             "Polygon #ff0000 3 1 1073741824 | 1 2 3 4",
         })
        QTest::newRow(*line ? line : "empty") << QString::fromLatin1(line);
    const QString pair = QStringLiteral("1 2 ");
    QTest::newRow("51 vertices") << QStringLiteral("Polygon #ff0000 3 1 51 | ") + pair.repeated(51);
}

void TestMarkLine::linesAreRejected() {
    QFETCH(QString, line);
    QVERIFY(!markFromLine(line, &scene));
}

QTEST_MAIN(TestMarkLine)
#include "tst_markline.moc"
