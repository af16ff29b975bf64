// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <cmath>

#include "marks/figuremark.h"
#include "measure/measuretable.h"
#include "measure/scale.h"
#include "support/marktest.h"

Q_DECLARE_METATYPE(CellScale)

namespace {

Figure figure(FigureKind kind, const QVector<QPointF>& points) {
    return {kind, points, 0.0, Qt::red, 1, 1};
}

const QVector<MeasureRow> kRows{{QStringLiteral("Line"), QStringLiteral("0.00 0.00 30.00 40.00"),
                                 QStringLiteral("50.00"), QStringLiteral("pix")},
                                {QStringLiteral("Arc"), QStringLiteral("1.00 2.00"), QString(), QString()}};

}  // namespace

/// Measures as a table for the clipboard and for files, and what a px is worth.
class TestMeasureTable : public QObject {
    Q_OBJECT

private slots:
    void rowsOfFigures();
    void rowsInAPlane();
    void onlyFiguresThatAreComplete();
    void absurdFigures();
    void tabs();
    void commas();
    void quotes_data();
    void quotes();
    void chinese();
    void validScales_data();
    void validScales();
    void unitsPerPixel();
    void scaleByALine_data();
    void scaleByALine();
    void linesThatAreNone_data();
    void linesThatAreNone();
};

void TestMeasureTable::rowsOfFigures() {
    InteractiveScene scene(nullptr, 1);
    scene.insertMark(makeFigure(figure(FigureKind::Rectangle, {{10, 20}, {40.5, 60.12}}), &scene));
    scene.insertMark(makeFigure(figure(FigureKind::Line, {{0, 0}, {30, 40}}), &scene));
    scene.insertMark(makeFigure(figure(FigureKind::VLine, {{7.126, 8}}), &scene));
    scene.insertMark(makeFigure(figure(FigureKind::Arc, {{0, 0}, {10, 0}, {0, 10}}), &scene));
    const auto rows = measureRows(scene.markList());
    QCOMPARE(rows.size(), 4);
    QCOMPARE(rows[0].kind, QStringLiteral("Rectangle"));
    QCOMPARE(rows[0].points, QStringLiteral("10.00 20.00 40.50 60.12"));
    QCOMPARE(rows[0].values, QStringLiteral("W:30.50 H:40.12 X:10.00 Y:20.00"));
    QCOMPARE(rows[0].unit, QStringLiteral("pix"));
    // One value alone is a number, which spreadsheets can reckon with.
    QCOMPARE(rows[1].kind, QStringLiteral("Line"));
    QCOMPARE(rows[1].values, QStringLiteral("50.00"));
    QCOMPARE(rows[2].kind, QStringLiteral("VLine"));
    QCOMPARE(rows[2].points, QStringLiteral("7.13 8.00"));
    QCOMPARE(rows[2].values, QStringLiteral("7.13"));
    QCOMPARE(rows[3].values, QStringLiteral("90.00"));
    QCOMPARE(rows[3].unit, QString(QChar(0xB0)));
}

void TestMeasureTable::rowsInAPlane() {
    InteractiveScene scene(nullptr, 1);
    scene.setPlane([](const QVector<QPointF>& points) {
        PlaneFigure plane{{}, 1, 0.5, 1.0};
        for (const QPointF point : points)
            plane.points.append(point / 2.0);
        return plane;
    });
    scene.insertMark(makeFigure(figure(FigureKind::Polygon, {{0, 0}, {400, 0}, {400, 400}}), &scene));
    const auto rows = measureRows(scene.markList());
    // The points stay those of the picture.
    QCOMPARE(rows.first().points, QStringLiteral("0.00 0.00 400.00 0.00 400.00 400.00"));
    QCOMPARE(rows.first().values, QStringLiteral("20000"));
    QCOMPARE(rows.first().unit, QStringLiteral("mm^2"));
}

void TestMeasureTable::onlyFiguresThatAreComplete() {
    InteractiveScene scene(nullptr, 1);
    scene.insertMark(markFromLine(QStringLiteral("Coordinates #0000ff 1 1 | 320 240"), &scene));
    Mark* draft = scene.insertMark(beginFigure(FigureKind::Line, &scene));
    press(*draft, {1, 1});
    scene.insertMark(markFromLine(QStringLiteral("Ellipse #ff0000 1 0 30 | 100 100 300 200"), &scene));
    const auto rows = measureRows(scene.markList());
    QCOMPARE(rows.size(), 1);
    // Also one that does not draw its measures.
    QCOMPARE(rows.first().kind, QStringLiteral("Ellipse"));
    QCOMPARE(rows.first().values, QStringLiteral("W:200.00 H:100.00"));
    press(*draft, {1, 3});
    QCOMPARE(measureRows(scene.markList()).size(), 2);
}

void TestMeasureTable::absurdFigures() {
    InteractiveScene scene(nullptr, 1);
    scene.insertMark(markFromLine(QStringLiteral("Line #ff0000 1 1 | 1e308 nan 2 3"), &scene));
    scene.insertMark(markFromLine(QStringLiteral("Circle #ff0000 1 1 | 0 0 10 0 20 0"), &scene));
    const auto rows = measureRows(scene.markList());
    QCOMPARE(rows.size(), 2);
    for (const MeasureRow& row : rows) {
        QVERIFY(row.points.size() < 100);
        QCOMPARE(row.values, QString());
        QCOMPARE(row.unit, QString());
    }
}

void TestMeasureTable::tabs() {
    QCOMPARE(tabTable({}), QStringLiteral("kind\tpoints\tvalues\tunit\n"));
    QCOMPARE(tabTable(kRows), QStringLiteral("kind\tpoints\tvalues\tunit\n"
                                             "Line\t0.00 0.00 30.00 40.00\t50.00\tpix\n"
                                             "Arc\t1.00 2.00\t\t\n"));
}

void TestMeasureTable::commas() {
    const QString time = QStringLiteral("2026-01-02 03:04:05");
    QCOMPARE(csvTable({}, time, QString()),
             QByteArray("\xEF\xBB\xBFtime,barcode,kind,points,values,unit\r\n"));
    QCOMPARE(csvTable(kRows, time, QStringLiteral("A1")),
             QByteArray("\xEF\xBB\xBFtime,barcode,kind,points,values,unit\r\n"
                        "2026-01-02 03:04:05,A1,Line,0.00 0.00 30.00 40.00,50.00,pix\r\n"
                        "2026-01-02 03:04:05,A1,Arc,1.00 2.00,,\r\n"));
}

void TestMeasureTable::quotes_data() {
    QTest::addColumn<QString>("barcode");
    QTest::addColumn<QByteArray>("cell");
    QTest::newRow("plain") << QStringLiteral("a b;c'd") << QByteArray("a b;c'd");
    QTest::newRow("comma") << QStringLiteral("a,b") << QByteArray("\"a,b\"");
    QTest::newRow("quotes") << QStringLiteral("a\"b\"") << QByteArray("\"a\"\"b\"\"\"");
    QTest::newRow("line feed") << QStringLiteral("a\nb") << QByteArray("\"a\nb\"");
    QTest::newRow("carriage return") << QStringLiteral("a\rb") << QByteArray("\"a\rb\"");
    QTest::newRow("like a formula") << QStringLiteral("=1+1") << QByteArray("\"=1+1\"");
    QTest::newRow("plus") << QStringLiteral("+49") << QByteArray("\"+49\"");
    QTest::newRow("minus") << QStringLiteral("-A\"1") << QByteArray("\"-A\"\"1\"");
    QTest::newRow("at") << QStringLiteral("@A1") << QByteArray("\"@A1\"");
    QTest::newRow("no formula") << QStringLiteral("A=1") << QByteArray("A=1");
    QTest::newRow("nothing") << QString() << QByteArray();
}

void TestMeasureTable::quotes() {
    QFETCH(QString, barcode);
    QFETCH(QByteArray, cell);
    QCOMPARE(csvTable({kRows.last()}, QStringLiteral("t"), barcode),
             "\xEF\xBB\xBFtime,barcode,kind,points,values,unit\r\nt," + cell + ",Arc,1.00 2.00,,\r\n");
}

void TestMeasureTable::chinese() {
    const QString code = QString::fromUtf8("\xE6\xB5\x8B");
    QVERIFY(csvTable(kRows, QString(), code).contains(",\xE6\xB5\x8B,Line,"));
}

// ---- scale -------------------------------------------------------------------------------------

void TestMeasureTable::validScales_data() {
    QTest::addColumn<QSizeF>("mm");
    QTest::addColumn<QSizeF>("px");
    QTest::addColumn<bool>("isValid");
    const double none = qQNaN();
    const double endless = qInf();
    QTest::newRow("none") << QSizeF() << QSizeF() << false;
    QTest::newRow("usual") << QSizeF(30, 30) << QSizeF(101.5, 99.25) << true;
    QTest::newRow("zero wide") << QSizeF(0, 30) << QSizeF(100, 100) << false;
    QTest::newRow("zero high") << QSizeF(30, 0) << QSizeF(100, 100) << false;
    QTest::newRow("negative") << QSizeF(30, -30) << QSizeF(100, 100) << false;
    QTest::newRow("both negative") << QSizeF(-30, 30) << QSizeF(-100, 100) << false;
    QTest::newRow("no number") << QSizeF(none, 30) << QSizeF(100, 100) << false;
    QTest::newRow("endless") << QSizeF(30, endless) << QSizeF(100, 100) << false;
    QTest::newRow("endless px") << QSizeF(30, 30) << QSizeF(100, endless) << false;
    QTest::newRow("no px") << QSizeF(30, 30) << QSizeF(0, 100) << false;
    QTest::newRow("absurdly large") << QSizeF(1e9, 30) << QSizeF(100, 100) << false;
    QTest::newRow("absurdly small") << QSizeF(30, 1e-8) << QSizeF(100, 100) << false;
    QTest::newRow("just large") << QSizeF(1e8, 30) << QSizeF(100, 100) << true;
    QTest::newRow("just small") << QSizeF(30, 1.01e-7) << QSizeF(100, 100) << true;
}

void TestMeasureTable::validScales() {
    QFETCH(QSizeF, mm);
    QFETCH(QSizeF, px);
    QTEST((CellScale{mm, px, 1}.isValid()), "isValid");
}

void TestMeasureTable::unitsPerPixel() {
    CellScale scale{{30, 20}, {100, 50}, 1};
    QCOMPARE(scale.unitsPerPixel(), QPointF(0.3, 0.4));
    scale.unit = 2;
    QCOMPARE(scale.unitsPerPixel(), QPointF(300, 400));
    scale.unit = 0;
    QCOMPARE(scale.unitsPerPixel(), QPointF(1, 1));
}

void TestMeasureTable::scaleByALine_data() {
    QTest::addColumn<QLineF>("line");
    QTest::addColumn<double>("mm");
    QTest::addColumn<CellScale>("before");
    QTest::addColumn<QSizeF>("cell");
    // Without a scale px are square: the line is 50 px long, the cell 100 x 80 px.
    QTest::newRow("square px") << QLineF(10, 10, 40, 50) << 25.0 << CellScale() << QSizeF(50, 40);
    QTest::newRow("backwards") << QLineF(40, 50, 10, 10) << 25.0 << CellScale() << QSizeF(50, 40);
    // A px is 0.3 mm wide and 0.4 mm high: the line is 50 mm long by the scale, and 100 in truth.
    QTest::newRow("proportion stays")
        << QLineF(0, 0, 100, 100) << 100.0 << CellScale{{30, 32}, {100, 80}, 2} << QSizeF(60, 64);
    // The cell of a new calibration is of the same proportion, whatever its px.
    QTest::newRow("other px") << QLineF(0, 0, 100, 0) << 60.0 << CellScale{{30, 32}, {1000, 70}, 2}
                              << QSizeF(60, 64);
    QTest::newRow("scale that is none")
        << QLineF(10, 10, 40, 50) << 25.0 << CellScale{{30, -1}, {10, 10}, 2} << QSizeF(50, 40);
}

void TestMeasureTable::scaleByALine() {
    QFETCH(QLineF, line);
    QFETCH(double, mm);
    QFETCH(CellScale, before);
    QFETCH(QSizeF, cell);
    const QSizeF px(100, 80);
    const auto scale = scaleByLine(line, mm, px, before);
    QVERIFY(scale);
    QCOMPARE(scale->mm, cell);
    QCOMPARE(scale->px, px);
    QCOMPARE(scale->unit, before.unit);
    // By it the line is as long as was said.
    const QPointF perPixel(scale->mm.width() / px.width(), scale->mm.height() / px.height());
    QCOMPARE(std::hypot(line.dx() * perPixel.x(), line.dy() * perPixel.y()), mm);
}

void TestMeasureTable::linesThatAreNone_data() {
    QTest::addColumn<QLineF>("line");
    QTest::addColumn<double>("mm");
    QTest::addColumn<QSizeF>("px");
    const QLineF line(0, 0, 100, 0);
    const QSizeF px(100, 80);
    QTest::newRow("without length") << QLineF(5, 5, 5, 5) << 10.0 << px;
    QTest::newRow("of no number") << QLineF(5, 5, qQNaN(), 5) << 10.0 << px;
    QTest::newRow("endless") << QLineF(5, 5, 1e308, -1e308) << 10.0 << px;
    QTest::newRow("zero") << line << 0.0 << px;
    QTest::newRow("negative") << line << -1.0 << px;
    QTest::newRow("no number") << line << qQNaN() << px;
    QTest::newRow("absurdly long") << line << 1e300 << px;
    QTest::newRow("absurdly short") << line << 1e-300 << px;
    QTest::newRow("no cell") << line << 10.0 << QSizeF();
    QTest::newRow("cell without height") << line << 10.0 << QSizeF(100, 0);
}

void TestMeasureTable::linesThatAreNone() {
    QFETCH(QLineF, line);
    QFETCH(double, mm);
    QFETCH(QSizeF, px);
    QVERIFY(!scaleByLine(line, mm, px, CellScale()));
}

QTEST_MAIN(TestMeasureTable)
#include "tst_measuretable.moc"
