// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <cmath>
#include <limits>

#include "marks/arcmark.h"
#include "marks/circlemark.h"
#include "marks/coordinatesmark.h"
#include "marks/ellipsemark.h"
#include "marks/hlinemark.h"
#include "marks/linemark.h"
#include "marks/markgeometry.h"
#include "marks/polygonmark.h"
#include "marks/rectanglemark.h"
#include "marks/textmark.h"
#include "marks/vlinemark.h"
#include "support/markfigures.h"
#include "support/marktest.h"

/// The ten kinds of mark: how they are made, clicked, measured and moved.
class TestMarks : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void constructionDefaults_data();
    void constructionDefaults();
    void circleThroughPoints();
    void degenerateCircle_data();
    void degenerateCircle();
    void anglesAndDirections();
    void areas();
    void penWidthFollowsTheZoom_data();
    void penWidthFollowsTheZoom();
    void clicksOfACircle();
    void clicksOfTwoPointMarks();
    void clicksOfOnePointMarks();
    void clicksOfAPolygon();
    void polygonClosesAtTheFiftiethVertex();
    void shiftMovesEveryPoint_data();
    void shiftMovesEveryPoint();
    void textIsComposedAtEveryPaint();
    void textWithoutMeasure();
    void textMakesRoom();
    void textFollowsTheMouse();
};

void TestMarks::initTestCase() {
    QVERIFY(useKnownLetters());
}

void TestMarks::constructionDefaults_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("toolTip");
    QTest::addColumn<QColor>("color");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("measure");
    const struct {
        const char* tip;
        int kind;
        Qt::GlobalColor color;
        int width;
        int measure;
    } table[] = {
        {"Line Mark", 1, Qt::red, 3, 1},
        {"Circle Mark", 2, Qt::yellow, 1, 1},
        {"Rectangle Mark", 3, Qt::blue, 1, 1},
        {"Arc Mark", 4, Qt::red, 1, 1},
        {"Horizontal Line Mark", 6, Qt::green, 1, 1},
        {"Coordinates", 7, Qt::blue, 1, 1},
        {"Polygon Mark", 8, Qt::green, 3, 1},
        {"Ellispe Mark", 9, Qt::red, 1, 0},
        {"Text Mark", 10, Qt::red, 1, 1},
        {"Vertical Line Mark", 1, Qt::green, 1, 1},
    };
    int index = 0;
    for (const auto& row : table)
        QTest::newRow(row.tip) << index++ << row.kind << QString::fromLatin1(row.tip) << QColor(row.color)
                               << row.width << row.measure;
}

void TestMarks::constructionDefaults() {
    QFETCH(int, index);
    InteractiveScene scene(nullptr, 1);
    std::array<std::unique_ptr<Mark>, 10> marks{
        std::make_unique<LineMark>(&scene),      std::make_unique<CircleMark>(&scene),
        std::make_unique<RectangleMark>(&scene), std::make_unique<ArcMark>(&scene),
        std::make_unique<HLineMark>(&scene),     std::make_unique<CoordinatesMark>(&scene),
        std::make_unique<PolygonMark>(&scene),   std::make_unique<EllipseMark>(&scene),
        std::make_unique<TextMark>(&scene),      std::make_unique<VLineMark>(&scene),
    };
    const Mark& mark = *marks[static_cast<size_t>(index)];
    QTEST(mark.markType, "kind");
    QTEST(mark.toolTip(), "toolTip");
    QTEST(mark.penColor, "color");
    QTEST(mark.penWidth, "width");
    QTEST(mark.showMeasure, "measure");
    QCOMPARE(mark.acceptedMouseButtons(), Qt::MouseButtons(Qt::LeftButton));
    QCOMPARE(mark.flags(), QGraphicsItem::GraphicsItemFlags());
    QCOMPARE(mark.acceptHoverEvents(), mark.markType == 10);
}

void TestMarks::circleThroughPoints() {
    const auto circle = circleThrough({10, 0}, {0, 10}, {-10, 0});
    QVERIFY(circle);
    QVERIFY(std::hypot(circle->centre.x(), circle->centre.y()) < 1e-9);
    QCOMPARE(circle->radius, 10.0);
    // Level and upright chords, whose bisectors have no slope or an infinite one.
    const auto square = circleThrough({0, 0}, {8, 0}, {0, 6});
    QVERIFY(square);
    QCOMPARE(square->centre, QPointF(4, 3));
    QCOMPARE(square->radius, 5.0);
}

void TestMarks::degenerateCircle_data() {
    QTest::addColumn<QVector<QPointF>>("points");
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("on one line") << QVector<QPointF>{{0, 0}, {10, 10}, {20, 20}};
    QTest::newRow("on a level line") << QVector<QPointF>{{0, 5}, {10, 5}, {20, 5}};
    QTest::newRow("all equal") << QVector<QPointF>{{3, 3}, {3, 3}, {3, 3}};
    QTest::newRow("two equal") << QVector<QPointF>{{3, 3}, {9, 3}, {9, 3}};
    QTest::newRow("almost on one line") << QVector<QPointF>{{0, 0}, {100, 0.0001}, {200, 0}};
    QTest::newRow("not numbers") << QVector<QPointF>{{nan, 0}, {1, nan}, {2, 2}};
    QTest::newRow("huge") << QVector<QPointF>{{1e308, 0}, {-1e308, 1}, {0, 1e308}};
}

void TestMarks::degenerateCircle() {
    QFETCH(QVector<QPointF>, points);
    QVERIFY(!circleThrough(points[0], points[1], points[2]));
    // The mark loads and is painted without a circle.
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    QString line = QStringLiteral("Circle #000000 1 1 |");
    for (const QPointF point : qAsConst(points))
        line += QStringLiteral(" %1 %2").arg(point.x()).arg(point.y());
    QVERIFY(addFromLine(scene, line));
    QVERIFY(inked(rendered(scene)).isNull());
}

void TestMarks::anglesAndDirections() {
    const QPointF vertex(100, 100);
    QVERIFY(qAbs(angleAt(vertex, {150, 100}, {100, 50}) - 1.5707963F) < 1e-4F);
    QVERIFY(qAbs(angleAt(vertex, {150, 100}, {50, 100}) - 3.1415927F) < 1e-3F);
    QVERIFY(qAbs(angleAt(vertex, {150, 100}, {180, 100})) < 1e-3F);
    QVERIFY(std::isnan(angleAt(vertex, vertex, {180, 100})));
    // Arms on one line, whatever the rounding.
    for (int i = 1; i < 300; ++i) {
        const QPointF arm(i * 0.37, i * 0.73);
        QVERIFY(!std::isnan(angleAt(vertex, vertex + arm, vertex + 3.3 * arm)));
        QVERIFY(!std::isnan(angleAt(vertex, vertex + arm, vertex - 1.7 * arm)));
    }
    QVERIFY(qAbs(armDirection(vertex, {150, 100}) - 0.0) < 0.1);
    QVERIFY(qAbs(armDirection(vertex, {100, 50}) - 90.0) < 0.01);
    QVERIFY(qAbs(armDirection(vertex, {50, 100}) - 180.0) < 0.1);
    QVERIFY(qAbs(armDirection(vertex, {100, 150}) - 270.0) < 0.01);
    QVERIFY(std::isnan(armDirection(vertex, vertex)));
}

void TestMarks::areas() {
    QCOMPARE(enclosedArea({}), 0.0);
    QCOMPARE(enclosedArea({{1, 1}, {5, 5}}), 0.0);
    QCOMPARE(enclosedArea({{0, 0}, {10, 0}, {10, 5}, {0, 5}}), 50.0);
    QCOMPARE(enclosedArea({{0, 5}, {10, 5}, {10, 0}, {0, 0}}), 50.0);
    QCOMPARE(enclosedArea({{0, 0}, {10, 0}, {0, 10}}), 50.0);
}

void TestMarks::penWidthFollowsTheZoom_data() {
    QTest::addColumn<double>("zoom");
    QTest::addColumn<int>("width");
    QTest::newRow("1") << 1.0 << 1;
    QTest::newRow("4") << 4.0 << 1;
    QTest::newRow("0.9") << 0.9 << 1;
    QTest::newRow("0.5") << 0.5 << 2;
    QTest::newRow("0.4") << 0.4 << 3;
    QTest::newRow("0.25") << 0.25 << 4;
    QTest::newRow("0") << 0.0 << 1;
    QTest::newRow("below 0") << -2.0 << 1;
    QTest::newRow("next to nothing") << 1e-300 << 1000;
    QTest::newRow("no number") << std::numeric_limits<double>::quiet_NaN() << 1;
}

void TestMarks::penWidthFollowsTheZoom() {
    QFETCH(double, zoom);
    QTEST(penWidthAt(zoom), "width");
    // And it is what a mark painted at that zoom is saved with.
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    scene.viewZoom = zoom;
    Mark* mark = addFromLine(scene, QStringLiteral("Line #ff0000 7 0 | 10 10 20 20"));
    QCOMPARE(mark->penWidth, 7);
    rendered(scene);
    QTEST(mark->penWidth, "width");
    QFETCH(int, width);
    QCOMPARE(mark->toText(), QStringLiteral("Line #ff0000 %1 0 | 10 10 20 20").arg(width));
    for (const auto& figure : kFigures) {
        Mark* other = addFromLine(scene, QString::fromLatin1(figure.line));
        rendered(scene);
        QCOMPARE(other->penWidth, width);
    }
}

void TestMarks::clicksOfACircle() {
    InteractiveScene scene(nullptr, 1);
    CircleMark mark(&scene);
    const auto points = [&mark] { return mark.toText().section(QLatin1Char('|'), 1).trimmed(); };
    QCOMPARE(points(), QStringLiteral("0 0 0 0 0 0"));
    drag(mark, {9, 9});
    QCOMPARE(points(), QStringLiteral("0 0 0 0 0 0"));  // nothing to drag before the first click
    QVERIFY(!press(mark, {1, 2}));
    QCOMPARE(points(), QStringLiteral("1 2 1 2 1 2"));
    drag(mark, {3, 4});
    QCOMPARE(points(), QStringLiteral("1 2 3 4 3 4"));
    QVERIFY(!press(mark, {5, 6}));
    QCOMPARE(points(), QStringLiteral("1 2 5 6 5 6"));
    drag(mark, {7, 8});
    QCOMPARE(points(), QStringLiteral("1 2 5 6 7 8"));
    QVERIFY(press(mark, {9, 10}));
    QCOMPARE(points(), QStringLiteral("1 2 5 6 9 10"));
    drag(mark, {0, 0});
    QVERIFY(press(mark, {0, 0}));
    QCOMPARE(points(), QStringLiteral("1 2 5 6 9 10"));  // complete: nothing changes any more
}

void TestMarks::clicksOfTwoPointMarks() {
    InteractiveScene scene(nullptr, 1);
    LineMark line(&scene);
    RectangleMark rectangle(&scene);
    EllipseMark ellipse(&scene);
    for (Mark* mark : std::initializer_list<Mark*>{&line, &rectangle, &ellipse}) {
        QVERIFY(!press(*mark, {10, 20}));
        drag(*mark, {5, 5});
        QVERIFY(mark->toText().endsWith(QStringLiteral("| 10 20 5 5")));
        QVERIFY(press(*mark, {30, 40}));
        drag(*mark, {5, 5});
        QVERIFY(mark->toText().endsWith(QStringLiteral("| 10 20 30 40")));
    }
}

void TestMarks::clicksOfOnePointMarks() {
    InteractiveScene scene(nullptr, 1);
    HLineMark level(&scene);
    VLineMark upright(&scene);
    CoordinatesMark crossHair(&scene);
    for (Mark* mark : std::initializer_list<Mark*>{&level, &upright, &crossHair}) {
        QVERIFY(press(*mark, {10, 20}));
        QVERIFY(mark->toText().endsWith(QStringLiteral("| 10 20")));
        QVERIFY(press(*mark, {11, 21}));
        QVERIFY(mark->toText().endsWith(QStringLiteral("| 11 21")));
        drag(*mark, {12, 22});
        QVERIFY(mark->toText().endsWith(QStringLiteral("| 12 22")));
    }
    TextMark text(&scene);
    QVERIFY(press(text, {30, 40}));
    QCOMPARE(text.zValue(), 1000.0);
    QCOMPARE(text.anchor(), QPointF(30, 40));
    drag(text, {31, 41});
    QCOMPARE(text.anchor(), QPointF(31, 41));
}

void TestMarks::clicksOfAPolygon() {
    InteractiveScene scene(nullptr, 1);
    PolygonMark mark(&scene);
    QVERIFY(!press(mark, {0, 0}));
    QVERIFY(!press(mark, {100, 0}));
    drag(mark, {50, 50});
    QVERIFY(mark.boundingRect().contains(QPointF(50, 50)));
    QVERIFY(!press(mark, {3, 3}));  // near the first vertex, but two vertices enclose nothing yet
    QVERIFY(!press(mark, {0, 100}));
    QVERIFY(press(mark, {4, 4}));
    QVERIFY(mark.toText().endsWith(QStringLiteral(" 4 | 0 0 100 0 3 3 0 100 ")));
    QVERIFY(press(mark, {500, 500}));
    QVERIFY(mark.toText().endsWith(QStringLiteral(" 4 | 0 0 100 0 3 3 0 100 ")));
}

void TestMarks::polygonClosesAtTheFiftiethVertex() {
    InteractiveScene scene(nullptr, 1);
    PolygonMark mark(&scene);
    for (int i = 0; i < 49; ++i)
        QVERIFY(!press(mark, QPointF(i * 20.0, i % 2 * 200.0)));
    QVERIFY(press(mark, {5000, 0}));
    QCOMPARE(mark.toText().section(QLatin1Char(' '), 4, 4), QStringLiteral("50"));
}

void TestMarks::shiftMovesEveryPoint_data() {
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    const auto row = [](const char* before, const char* after) {
        QTest::newRow(before) << QString::fromLatin1(before) << QString::fromLatin1(after);
    };
    row("Line #ff0000 1 1 | 1 2 3 4", "Line #ff0000 1 1 | 11 -18 13 -16");
    row("Circle #ff0000 1 1 | 1 2 3 4 5 6", "Circle #ff0000 1 1 | 11 -18 13 -16 15 -14");
    row("Arc #ff0000 1 1 | 1 2 3 4 5 6", "Arc #ff0000 1 1 | 11 -18 13 -16 15 -14");
    row("Rectangle #ff0000 1 1 30 | 1 2 3 4", "Rectangle #ff0000 1 1 30 | 11 -18 13 -16");
    row("Ellipse #ff0000 1 1 30 | 1 2 3 4", "Ellipse #ff0000 1 1 30 | 11 -18 13 -16");
    row("HLine #ff0000 1 1 | 1 2", "HLine #ff0000 1 1 | 11 -18");
    row("VLine #ff0000 1 1 | 1 2", "VLine #ff0000 1 1 | 11 -18");
    row("Coordinates #ff0000 1 1 | 1 2", "Coordinates #ff0000 1 1 | 11 -18");
    row("Text #ff0000 1 1 | 1 2 0 0 | 0 x 0 y 1 0 0 0", "Text #ff0000 1 1 | 11 -18 0 0 | 0 x 0 y 1 0 0 0");
    row("Polygon #ff0000 1 1 2 | 1 2 3 4 ", "Polygon #ff0000 1 1 2 | 11 -18 13 -16 ");
}

void TestMarks::shiftMovesEveryPoint() {
    QFETCH(QString, before);
    InteractiveScene scene(nullptr, 1);
    std::unique_ptr<Mark> mark = markFromLine(before, &scene);
    if (!mark)
        mark = TextMark::fromText(before, &scene);
    QVERIFY(mark);
    mark->shiftBy(10, -20);
    QTEST(mark->toText(), "after");
}

void TestMarks::textIsComposedAtEveryPaint() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 2000, 200);
    auto* text = new TextMark(&scene);
    scene.addItem(text);
    press(*text, {10, 150});
    const QFontMetrics metrics(QFont(QGuiApplication::font().family(), 50));
    const auto shownWidth = [&] {
        rendered(scene);
        const QStringList fields = text->toText().split(QLatin1Char(' '));
        return qRound(fields[7].toDouble() - fields[5].toDouble());
    };
    QCOMPARE(shownWidth(), 0);
    text->showBarcode();
    text->setBarcode(QString());
    QCOMPARE(shownWidth(), metrics.horizontalAdvance(QStringLiteral("########")));
    text->setBarcode(QStringLiteral("AB"));
    QCOMPARE(shownWidth(), metrics.horizontalAdvance(QStringLiteral("AB")));
    QCOMPARE(text->text(), QStringLiteral("AB"));
    // Date and time, a space, then the barcode; "########" when that is empty.
    text->setBarcode(QString());
    text->showDateTime(QStringLiteral("'now'"));
    rendered(scene);
    QCOMPARE(text->text(), QStringLiteral("now ########"));
    text->setBarcode(QStringLiteral("AB"));
    text->showDateTime(QStringLiteral("yyyy"));
    const QString year = QString::number(QDate::currentDate().year());
    QCOMPARE(shownWidth(), metrics.horizontalAdvance(year + QStringLiteral(" AB")));
    // The far corner is above the anchor by the font's height.
    const QStringList fields = text->toText().split(QLatin1Char(' '));
    QCOMPARE(fields[6].toDouble() - fields[8].toDouble(), static_cast<double>(metrics.height()));
}

void TestMarks::textWithoutMeasure() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 800, 200);
    auto text = TextMark::fromText(
        QStringLiteral("Text #000000 1 0 | 10 150 0 0 | 0 x 1 LongFreeText 0 0 0 0"), &scene);
    QVERIFY(text);
    scene.addItem(text.get());
    const QImage hidden = rendered(scene);
    QCOMPARE(text->text(), QStringLiteral("########"));
    // The far corner is that of the composed text all the same.
    const int hiddenWidth = qRound(text->toText().section(QLatin1Char(' '), 7, 7).toDouble()) - 10;
    text->showMeasure = 1;
    QCOMPARE(text->text(), QStringLiteral("LongFreeText "));  // and a space
    QCOMPARE(hiddenWidth,
             QFontMetrics(QFont(QGuiApplication::font().family(), 50)).horizontalAdvance(text->text()));
    text->updateGeometry();
    const QImage shown = rendered(scene);
    QVERIFY(hidden != shown);
    auto placeholder =
        TextMark::fromText(QStringLiteral("Text #000000 1 1 | 10 150 0 0 | 0 x 0 y 1 0 0 0"), &scene);
    scene.removeItem(text.get());
    scene.addItem(placeholder.get());
    QCOMPARE(rendered(scene), hidden);  // "########" as an empty barcode shows it
}

void TestMarks::textMakesRoom() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 3000, 200);
    scene.setDateTimeFormat(QStringLiteral("'a'"));
    scene.restoreDateTimeMark(QStringLiteral("Text #000000 1 1 | 10 150 0 0 | 1 a 0 y 0 0 0 0"));
    Mark* text = nullptr;
    const auto items = scene.items();
    for (QGraphicsItem* item : items)
        text = dynamic_cast<Mark*>(item);
    QVERIFY(text);
    // What is shown grows behind the mark's back, as the time does.
    text->showMeasure = 0;
    const QRectF before = text->boundingRect();
    rendered(scene);
    QTRY_VERIFY(text->boundingRect().width() > before.width());
    // And gives it back.
    text->showMeasure = 1;
    static_cast<TextMark*>(text)->updateGeometry();
    QCOMPARE(text->boundingRect(), before);
}

void TestMarks::textFollowsTheMouse() {
    InteractiveScene scene(nullptr, 1);
    auto text = TextMark::fromText(QStringLiteral("Text #000000 1 1 | 10 150 0 0 | 0 x 0 y 1 0 0 0"), &scene);
    // Qt moves an item that people drag by its position; the line holds where the text really is.
    text->setPos(5, -5);
    QVERIFY(text->toText().startsWith(QStringLiteral("Text #000000 1 1 | 15 145 ")));
    press(*text, {40, 60});
    QVERIFY(text->toText().startsWith(QStringLiteral("Text #000000 1 1 | 40 60 ")));
}

QTEST_MAIN(TestMarks)
#include "tst_marks.moc"
