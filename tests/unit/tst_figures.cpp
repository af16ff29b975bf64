// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <cmath>
#include <limits>

#include "marks/coordinatesmark.h"
#include "marks/polygonmark.h"
#include "support/figuretest.h"

namespace {

bool isNear(QPointF a, QPointF b, double limit = 1e-9) {
    return std::hypot(a.x() - b.x(), a.y() - b.y()) <= limit;
}

}  // namespace

/// Figures as values, clicked or made, and their handles; what the scene says of its marks.
class TestFigures : public QObject {
    Q_OBJECT

private slots:
    void valuesComeBack_data() { addKinds(); }
    void valuesComeBack();
    void valuesAreExact();
    void valuesThatDoNotFit();
    void clickedFiguresAreThoseMade_data() { addKinds(); }
    void clickedFiguresAreThoseMade();
    void begunFiguresLieAsReadOnes_data() { addKinds(); }
    void begunFiguresLieAsReadOnes();
    void degenerateClicks_data();
    void degenerateClicks();
    void completeFiguresTakeNoClick_data() { addKinds(); }
    void completeFiguresTakeNoClick();
    void aPolygonIsEnded();
    void aPolygonClosesByTheFiguresZoom();
    void handlesAreWherePointsAreSeen();
    void handlesOfADraft();
    void aHandleGoesWhereItIsTaken_data() { addKinds(); }
    void aHandleGoesWhereItIsTaken();
    void theOppositeHandleStays();
    void absurdHandles();
    void distances_data();
    void distances();
    void distancesOfWhatIsNotDrawn();
    void listOfMarks();
    void whatTheSceneHolds();
};

// ---- values ------------------------------------------------------------------------------------

void TestFigures::valuesComeBack() {
    QFETCH(FigureKind, kind);
    InteractiveScene scene(nullptr, 1);
    Figure wanted = sample(kind);
    wanted.color = QColor(1, 2, 3);
    wanted.penWidth = 7;
    wanted.showMeasure = 0;
    const auto mark = makeFigure(wanted, &scene);
    QCOMPARE(mark->kind(), kind);
    QVERIFY(mark->isComplete());
    QVERIFY(mark->figure() == wanted);
    Figure other = wanted;
    for (QPointF& point : other.points)
        point += QPointF(1, 2);
    QVERIFY(other != wanted);
    mark->setFigure(other);
    QVERIFY(mark->figure() == other);
    // Also of one that is half clicked.
    const auto draft = beginFigure(kind, &scene);
    press(*draft, {1, 1});
    draft->setFigure(wanted);
    QVERIFY(draft->isComplete());
    QVERIFY(draft->figure() == wanted);
    // What is read from the file is one as well.
    const auto read = markFromLine(mark->toText(), &scene);
    QVERIFY(dynamic_cast<FigureMark&>(*read).figure() == other);
}

void TestFigures::valuesAreExact() {
    InteractiveScene scene(nullptr, 1);
    const Figure wanted = figure(FigureKind::Line, {{1.0 / 3.0, 1234.56789012345}, {1e-14, -0.1}});
    const auto mark = makeFigure(wanted, &scene);
    QCOMPARE(mark->figure().points[0].y(), 1234.56789012345);
    QVERIFY(mark->figure() == wanted);
    // A thousandth of a thousandth of a px is a difference: undoing has to bring back what was there.
    Figure other = wanted;
    other.points[1].setX(2e-14);
    QVERIFY(other != wanted);
    other = wanted;
    other.angle = 1.0;
    QVERIFY(other != wanted);
    other = wanted;
    other.kind = FigureKind::Rectangle;
    QVERIFY(other != wanted);
    other = wanted;
    other.points.removeLast();
    QVERIFY(other != wanted);
}

void TestFigures::valuesThatDoNotFit() {
    InteractiveScene scene(nullptr, 1);
    for (const FigureKind kind : kKinds) {
        const auto mark = makeFigure(sample(kind), &scene);
        const Figure before = mark->figure();
        Figure other = before;
        other.kind = kind == FigureKind::Line ? FigureKind::Rectangle : FigureKind::Line;
        mark->setFigure(other);
        other = before;
        other.points.clear();
        mark->setFigure(other);
        other.points.fill({1, 1}, PolygonMark::kMostVertices + 1);
        mark->setFigure(other);
        QVERIFY(mark->figure() == before);
        // Made of such a value it is one that nobody has clicked.
        const auto none = makeFigure(figure(kind, {}), &scene);
        QCOMPARE(none->pointsTaken(), 0);
        QVERIFY(!none->isComplete());
    }
}

void TestFigures::clickedFiguresAreThoseMade() {
    QFETCH(FigureKind, kind);
    InteractiveScene scene(nullptr, 1);
    const Figure wanted = sample(kind);
    const auto mark = beginFigure(kind, &scene);
    QVERIFY(!mark->isComplete());
    QCOMPARE(mark->pointsTaken(), 0);
    for (int i = 0; i < wanted.points.size(); ++i) {
        QVERIFY(!mark->isComplete());
        QVERIFY(!mark->isDegenerateWith(wanted.points[i]));
        const bool isDone = press(*mark, wanted.points[i]);
        QCOMPARE(isDone, kind != FigureKind::Polygon && i == wanted.points.size() - 1);
        QCOMPARE(mark->pointsTaken(), i + 1);
    }
    if (kind == FigureKind::Polygon)
        QVERIFY(press(*mark, wanted.points.first()));
    QVERIFY(mark->isComplete());
    QCOMPARE(mark->figure().points, wanted.points);
    QCOMPARE(told(mark->measures()).isEmpty(), false);
}

void TestFigures::begunFiguresLieAsReadOnes() {
    QFETCH(FigureKind, kind);
    InteractiveScene scene(nullptr, 1);
    const auto begun = beginFigure(kind, &scene);
    const auto made = makeFigure(sample(kind), &scene);
    const auto read = markFromLine(made->toText(), &scene);
    QCOMPARE(begun->zValue(), read->zValue());
    QCOMPARE(made->zValue(), read->zValue());
    QCOMPARE(begun->showMeasure, 1);
    QVERIFY(begun->toText().startsWith(keywordOf(kind) + QLatin1Char(' ')));
    QVERIFY(!begun->scene());
}

// ---- clicks ------------------------------------------------------------------------------------

void TestFigures::degenerateClicks_data() {
    QTest::addColumn<FigureKind>("kind");
    QTest::addColumn<QVector<QPointF>>("taken");
    QTest::addColumn<QPointF>("next");
    QTest::addColumn<bool>("isDegenerate");
    const auto row = [](FigureKind kind, const char* name, const QVector<QPointF>& taken, QPointF next,
                        bool is) {
        QTest::newRow(qPrintable(keywordOf(kind) + QLatin1Char(' ') + QLatin1String(name)))
            << kind << taken << next << is;
    };
    for (const FigureKind kind : kKinds) {
        row(kind, "begins anywhere", {}, {-5, 1000}, false);
        row(kind, "begins nowhere", {}, {kNoNumber, 1}, true);
        row(kind, "begins too far away", {}, {1, 1e308}, true);
    }
    row(FigureKind::Line, "without length", {{5, 5}}, {5, 5}, true);
    row(FigureKind::Line, "hardly any length", {{5, 5}}, {5.001, 5}, true);
    row(FigureKind::Line, "short", {{5, 5}}, {5, 5.1}, false);
    row(FigureKind::Circle, "second on the first", {{5, 5}}, {5, 5}, true);
    row(FigureKind::Circle, "third on the first", {{5, 5}, {50, 5}}, {5, 5}, true);
    row(FigureKind::Circle, "third on the second", {{5, 5}, {50, 5}}, {50, 5}, true);
    row(FigureKind::Circle, "in line", {{5, 5}, {50, 5}}, {100, 5}, true);
    row(FigureKind::Circle, "as good as in line", {{5, 5}, {50, 5}}, {100, 5.0001}, true);
    row(FigureKind::Circle, "a circle", {{5, 5}, {50, 5}}, {100, 6}, false);
    row(FigureKind::Arc, "arm without length", {{5, 5}}, {5, 5}, true);
    row(FigureKind::Arc, "second arm without length", {{5, 5}, {50, 5}}, {5, 5}, true);
    row(FigureKind::Arc, "second arm on the first", {{5, 5}, {50, 5}}, {50, 5}, true);
    row(FigureKind::Arc, "straight", {{5, 5}, {50, 5}}, {-50, 5}, false);
    for (const FigureKind kind : {FigureKind::Rectangle, FigureKind::Ellipse}) {
        row(kind, "without width", {{5, 5}}, {5, 50}, true);
        row(kind, "without height", {{5, 5}}, {50, 5}, true);
        row(kind, "to the upper left", {{5, 5}}, {-5, -6}, false);
    }
    row(FigureKind::Polygon, "on the last", {{5, 5}, {50, 5}}, {50, 5}, true);
    row(FigureKind::Polygon, "back to the first", {{5, 5}, {50, 5}}, {5, 5}, true);
    row(FigureKind::Polygon, "third", {{5, 5}, {50, 5}}, {50, 50}, false);
    row(FigureKind::Polygon, "closes", {{5, 5}, {50, 5}, {50, 50}}, {6, 6}, false);
    row(FigureKind::Polygon, "closes a line", {{5, 5}, {50, 5}, {100, 5}}, {6, 6}, true);
    QVector<QPointF> many;
    for (int i = 0; i < PolygonMark::kMostVertices - 1; ++i)
        many.append({20.0 * i, 5.0});
    row(FigureKind::Polygon, "fiftieth in line", many, {5000, 5}, true);
    row(FigureKind::Polygon, "fiftieth", many, {5000, 500}, false);
}

void TestFigures::degenerateClicks() {
    QFETCH(FigureKind, kind);
    QFETCH(QVector<QPointF>, taken);
    QFETCH(QPointF, next);
    QFETCH(bool, isDegenerate);
    InteractiveScene scene(nullptr, 1);
    const auto mark = beginFigure(kind, &scene);
    for (const QPointF point : taken) {
        QVERIFY(!mark->isDegenerateWith(point));
        press(*mark, point);
    }
    QCOMPARE(mark->isDegenerateWith(next), isDegenerate);
    // It is a question, not a click.
    QCOMPARE(mark->pointsTaken(), taken.size());
}

void TestFigures::completeFiguresTakeNoClick() {
    QFETCH(FigureKind, kind);
    InteractiveScene scene(nullptr, 1);
    const auto mark = makeFigure(sample(kind), &scene);
    const bool hasOnePoint = sample(kind).points.size() == 1;
    QCOMPARE(mark->isDegenerateWith({7, 9}), !hasOnePoint);
    QCOMPARE(mark->finish(), kind == FigureKind::Polygon);
}

void TestFigures::aPolygonIsEnded() {
    InteractiveScene scene(nullptr, 1);
    const auto mark = beginFigure(FigureKind::Polygon, &scene);
    QVERIFY(!mark->finish());
    press(*mark, {10, 10});
    press(*mark, {110, 10});
    drag(*mark, {110, 60});
    QVERIFY(!mark->finish());
    press(*mark, {210, 10});
    QVERIFY(!mark->finish());  // three on one line enclose nothing
    press(*mark, {110, 60});
    drag(*mark, {300, 300});
    QVERIFY(!mark->isComplete());
    QVERIFY(mark->finish());
    QVERIFY(mark->isComplete());
    // Without the point that was at the cursor.
    QCOMPARE(mark->figure().points.size(), 4);
    QCOMPARE(told(mark->measures()), QStringLiteral("S 5000.00 pix^2"));
    drag(*mark, {0, 0});
    QCOMPARE(told(mark->measures()), QStringLiteral("S 5000.00 pix^2"));
    const auto line = beginFigure(FigureKind::Line, &scene);
    press(*line, {10, 10});
    QVERIFY(!line->finish());
}

void TestFigures::aPolygonClosesByTheFiguresZoom() {
    // Ten px on the screen: five of the scene at a zoom of two.
    const QVector<QPointF> vertices{{50, 50}, {150, 50}, {150, 150}};
    for (const double zoom : {0.5, 1.0, 2.0}) {
        InteractiveScene scene(nullptr, 1);
        scene.setFigureZoom(zoom);
        for (const double away : {9.0, 11.0}) {
            const auto mark = beginFigure(FigureKind::Polygon, &scene);
            for (const QPointF point : vertices)
                press(*mark, point);
            QCOMPARE(press(*mark, vertices.first() + QPointF(0, away / zoom)), away < 10.0);
        }
    }
}

// ---- handles -----------------------------------------------------------------------------------

void TestFigures::handlesAreWherePointsAreSeen() {
    InteractiveScene scene(nullptr, 1);
    for (const FigureKind kind : kKinds) {
        Figure value = sample(kind);
        value.angle = 0.0;
        QCOMPARE(makeFigure(value, &scene)->handles(), value.points);
    }
    for (const FigureKind kind : {FigureKind::Rectangle, FigureKind::Ellipse}) {
        // A quarter turn clockwise about (200, 150): what was 100 to the left is 100 above.
        const auto mark = makeFigure(figure(kind, {{100, 120}, {300, 180}}, 90.0), &scene);
        const auto handles = mark->handles();
        QCOMPARE(handles.size(), 2);
        QVERIFY(isNear(handles[0], {230, 50}));
        QVERIFY(isNear(handles[1], {170, 250}));
    }
}

void TestFigures::handlesOfADraft() {
    InteractiveScene scene(nullptr, 1);
    const auto circle = beginFigure(FigureKind::Circle, &scene);
    QVERIFY(circle->handles().isEmpty());
    press(*circle, {10, 20});
    drag(*circle, {30, 40});
    QCOMPARE(circle->handles(), QVector<QPointF>{QPointF(10, 20)});
    const auto polygon = beginFigure(FigureKind::Polygon, &scene);
    press(*polygon, {10, 20});
    drag(*polygon, {30, 40});
    QCOMPARE(polygon->handles(), QVector<QPointF>{QPointF(10, 20)});
    const auto level = beginFigure(FigureKind::HLine, &scene);
    drag(*level, {30, 40});
    QVERIFY(level->handles().isEmpty());
}

void TestFigures::aHandleGoesWhereItIsTaken() {
    QFETCH(FigureKind, kind);
    InteractiveScene scene(nullptr, 1);
    for (int i = 0; i < sample(kind).points.size(); ++i) {
        const auto mark = makeFigure(sample(kind), &scene);
        const auto before = mark->handles();
        const QPointF to(333.25, 17.5);
        mark->moveHandle(i, to);
        const auto after = mark->handles();
        for (int j = 0; j < before.size(); ++j)
            QVERIFY(isNear(after[j], j == i ? to : before[j]));
        QVERIFY(mark->isComplete());
        // The angle is not what a handle changes.
        QCOMPARE(mark->figure().angle, sample(kind).angle);
        mark->moveHandle(i, before[i]);
        for (int j = 0; j < before.size(); ++j)
            QVERIFY(isNear(mark->figure().points[j], sample(kind).points[j]));
    }
}

void TestFigures::theOppositeHandleStays() {
    InteractiveScene scene(nullptr, 1);
    // Turned by a quarter, a box from (230, 50) to (170, 250) as it is seen: 200 wide and 60 high.
    const auto mark = makeFigure(figure(FigureKind::Rectangle, {{100, 120}, {300, 180}}, 90.0), &scene);
    mark->moveHandle(1, {150, 290});
    QVERIFY(isNear(mark->handles()[0], {230, 50}));
    QVERIFY(isNear(mark->handles()[1], {150, 290}));
    QVERIFY(isNear(mark->figure().points[0], {70, 130}));
    QVERIFY(isNear(mark->figure().points[1], {310, 210}));
    QCOMPARE(told(mark->measures()).left(27), QStringLiteral("W 240.00 pix, H 80.00 pix, "));
}

void TestFigures::absurdHandles() {
    InteractiveScene scene(nullptr, 1);
    const auto mark = makeFigure(sample(FigureKind::Rectangle), &scene);
    const Figure before = mark->figure();
    mark->moveHandle(-1, {1, 1});
    mark->moveHandle(2, {1, 1});
    mark->moveHandle(0, {kNoNumber, 1});
    mark->moveHandle(0, {1e308, 1});
    QVERIFY(mark->figure() == before);
    const auto absurd = makeFigure(figure(FigureKind::Line, {{1, 1}, {1e308, 1}}), &scene);
    QVERIFY(absurd->handles().isEmpty());
    absurd->moveHandle(0, {5, 5});
    QCOMPARE(absurd->figure().points[0], QPointF(1, 1));
    // A turn that is none: as it is drawn.
    const auto unturned = makeFigure(figure(FigureKind::Rectangle, {{1, 1}, {9, 5}}, kNoNumber), &scene);
    QCOMPARE(unturned->handles(), (QVector<QPointF>{{1, 1}, {9, 5}}));
    unturned->moveHandle(1, {7, 6});
    QCOMPARE(unturned->handles(), (QVector<QPointF>{{1, 1}, {7, 6}}));
}

void TestFigures::distances_data() {
    QTest::addColumn<Figure>("value");
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<double>("distance");
    const auto row = [](const char* name, const Figure& value, QPointF point, double distance) {
        QTest::newRow(name) << value << point << distance;
    };
    const Figure line = figure(FigureKind::Line, {{0, 0}, {40, 30}});
    row("on a line", line, {20, 15}, 0.0);
    row("beside a line", line, {17, 19}, 5.0);
    row("behind a line's end", line, {43, 34}, 5.0);
    row("of a line without length", figure(FigureKind::Line, {{0, 0}, {0, 0}}), {3, 4}, 5.0);
    const Figure circle = figure(FigureKind::Circle, {{0, 100}, {100, 0}, {-100, 0}});
    row("of a circle's centre", circle, {0, 0}, 100.0);
    row("outside a circle", circle, {0, -107}, 7.0);
    row("of a circle that is none", figure(FigureKind::Circle, {{0, 0}, {10, 0}, {20, 0}}), {23, 4}, 5.0);
    const Figure arc = figure(FigureKind::Arc, {{100, 100}, {200, 100}, {100, 200}});
    row("of the first arm", arc, {150, 97}, 3.0);
    row("of the second arm", arc, {96, 150}, 4.0);
    const Figure box = figure(FigureKind::Rectangle, {{300, 180}, {100, 120}});
    row("inside a box", box, {200, 140}, 20.0);
    row("outside a box", box, {303, 184}, 5.0);
    const Figure turned = figure(FigureKind::Rectangle, {{100, 120}, {300, 180}}, 90.0);
    row("of a turned box's side", turned, {230, 60}, 0.0);
    row("inside a turned box", turned, {200, 60}, 10.0);
    row("where it would be unturned", turned, {100, 150}, 70.0);
    const Figure ellipse = figure(FigureKind::Ellipse, {{100, 120}, {300, 180}});
    row("right of an ellipse", ellipse, {305, 150}, 5.0);
    row("above an ellipse", ellipse, {200, 110}, 10.0);
    row("of an ellipse's centre", ellipse, {200, 150}, 30.0);
    row("of its corner, which is outside", ellipse, {100, 120}, 19.654);
    row("of a turned ellipse", figure(FigureKind::Ellipse, {{100, 120}, {300, 180}}, 90.0), {200, 255}, 5.0);
    row("of a flat ellipse", figure(FigureKind::Ellipse, {{100, 120}, {300, 120}}), {200, 127}, 7.0);
    const Figure polygon = figure(FigureKind::Polygon, {{0, 0}, {100, 0}, {100, 100}});
    row("of a polygon's side", polygon, {50, -2}, 2.0);
    row("of its last side", polygon, {47, 53}, std::hypot(3.0, 3.0));
    row("of a polygon of one vertex", figure(FigureKind::Polygon, {{3, 4}}), {0, 0}, 5.0);
    row("of a level line", figure(FigureKind::HLine, {{200, 150}}), {10, 157}, 7.0);
    row("of an upright line", figure(FigureKind::VLine, {{200, 150}}), {196, 10}, 4.0);
}

void TestFigures::distances() {
    QFETCH(Figure, value);
    QFETCH(QPointF, point);
    QFETCH(double, distance);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    const double found = makeFigure(value, &scene)->distanceTo(point);
    QVERIFY2(std::abs(found - distance) < 0.01, qPrintable(QString::number(found)));
}

void TestFigures::distancesOfWhatIsNotDrawn() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    for (const FigureKind kind : kKinds) {
        QVERIFY(std::isinf(beginFigure(kind, &scene)->distanceTo({0, 0})));
        const auto mark = makeFigure(sample(kind), &scene);
        QVERIFY(std::isinf(mark->distanceTo({kNoNumber, 0})));
        Figure absurd = sample(kind);
        absurd.points.last() = QPointF(1e308, 1e308);
        QVERIFY(std::isinf(makeFigure(absurd, &scene)->distanceTo({0, 0})));
    }
    // The edge to the cursor is not yet one, nor is the closing one.
    const auto open = beginFigure(FigureKind::Polygon, &scene);
    press(*open, {0, 0});
    press(*open, {100, 0});
    press(*open, {100, 100});
    QVERIFY(std::abs(open->distanceTo({40, 40}) - 40.0) < 1e-9);
}

// ---- scene -------------------------------------------------------------------------------------

void TestFigures::listOfMarks() {
    InteractiveScene scene(nullptr, 1);
    Mark* a = scene.insertMark(makeFigure(sample(FigureKind::Line), &scene));
    Mark* b = scene.insertMark(makeFigure(sample(FigureKind::Circle), &scene));
    Mark* c = scene.insertMark(makeFigure(sample(FigureKind::Arc), &scene), 1);
    Mark* d = scene.insertMark(makeFigure(sample(FigureKind::HLine), &scene), 0);
    Mark* e = scene.insertMark(makeFigure(sample(FigureKind::VLine), &scene), 99);
    QCOMPARE(scene.markList(), (QList<Mark*>{d, a, c, b, e}));
    QCOMPARE(scene.markCount(), 5);
    for (int i = 0; i < scene.markCount(); ++i) {
        QCOMPARE(scene.indexOf(scene.markList()[i]), i);
        QCOMPARE(scene.markList()[i]->scene(), &scene);
    }
    QCOMPARE(scene.indexOf(nullptr), -1);
    const auto outside = makeFigure(sample(FigureKind::Line), &scene);
    QCOMPARE(scene.indexOf(outside.get()), -1);
    scene.removeMark(c);
    QCOMPARE(scene.markList(), (QList<Mark*>{d, a, b, e}));
}

void TestFigures::whatTheSceneHolds() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    scene.addRect(kScene);
    QVERIFY(!scene.isPlacingCrossHair());
    QVERIFY(!scene.heldCrossHair());
    QVERIFY(!scene.hasBarcodeOverlay());
    scene.setMode(kCoordinatesMark);
    QVERIFY(scene.isPlacingCrossHair());
    const auto click = [&scene](QPointF point) {
        const auto event = sceneMouse(QEvent::GraphicsSceneMousePress, point);
        QCoreApplication::sendEvent(&scene, event.get());
    };
    click({100, 100});
    QVERIFY(!scene.isPlacingCrossHair());
    QVERIFY(!scene.heldCrossHair());
    click({110, 100});
    QCOMPARE(scene.heldCrossHair(), dynamic_cast<CoordinatesMark*>(scene.markList().first()));
    scene.removeMark(scene.markList().first());
    QVERIFY(!scene.heldCrossHair());
    scene.setMode(kDateTimeTextMark);
    QVERIFY(!scene.hasBarcodeOverlay());
    scene.setMode(kBarcodeTextMark);
    QVERIFY(scene.hasBarcodeOverlay());
    scene.clearMarks();
    QVERIFY(!scene.hasBarcodeOverlay());
}

QTEST_MAIN(TestFigures)
#include "tst_figures.moc"
