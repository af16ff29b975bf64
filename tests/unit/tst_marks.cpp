#include <QFontDatabase>
#include <QGraphicsEffect>
#include <QGraphicsView>
#include <QScreen>
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
#include "support/marktest.h"
#include "support/workingfolder.h"

namespace {

const QRectF kScene(0, 0, 400, 300);

/// A line of each kind, drawn well inside kScene.
const struct {
    const char* name;
    const char* line;
} kFigures[] = {
    {"line", "Line #ff0000 3 1 | 60 200 300 120"},
    {"line at the edge", "Line #ff0000 3 1 | 5 10 5 200"},
    {"line in the corner", "Line #ff0000 3 1 | 5 5 300 5"},
    {"circle", "Circle #c0a000 1 1 | 120 150 260 150 190 80"},
    {"arc", "Arc #ff0000 1 1 | 150 150 250 130 180 240"},
    {"rectangle", "Rectangle #0000ff 1 1 20 | 120 100 260 200"},
    {"ellipse", "Ellipse #ff0000 1 0 -30 | 100 100 300 200"},
    {"measured ellipse", "Ellipse #ff0000 1 1 0 | 100 100 300 200"},
    {"polygon", "Polygon #00a000 3 1 4 | 60 60 200 80 180 220 40 180 "},
    {"hline", "HLine #00a000 1 1 | 200 150"},
    {"vline", "VLine #00a000 1 1 | 200 150"},
    {"coordinates", "Coordinates #0000ff 1 1 | 200 150"},
};

/// Number of pixels that differ by more than a shade.
int difference(const QImage& a, const QImage& b) {
    if (a.size() != b.size())
        return a.width() * a.height();
    int count = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            const int far = std::max({std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                                      std::abs(qBlue(p) - qBlue(q))});
            count += far > 40 ? 1 : 0;
        }
    }
    return count;
}

/// The smallest rectangle that holds every pixel that is not white.
QRect inked(const QImage& image) {
    QRect rect;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != qRgb(255, 255, 255))
                rect |= QRect(x, y, 1, 1);
        }
    }
    return rect;
}

}  // namespace

/// The ten kinds of mark: how they are made, measured, drawn, moved and written.
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
    void pictures_data();
    void pictures();
    void captionTexts();
    void lengthsAreSinglePrecision();
    void captionPlaces();
    void captionsNameTheUnit_data();
    void captionsNameTheUnit();
    void measuresAreDrawnOnlyWhenAskedFor_data();
    void measuresAreDrawnOnlyWhenAskedFor();
    void boundingRectCoversThePaint_data();
    void boundingRectCoversThePaint();
    void boundingRectOfACircle();
    void noTrails_data();
    void noTrails();
    void acrossAGrowingScene_data();
    void acrossAGrowingScene();
    void acrossALargerScene();
    void firstClickOfACircleIsADot();
    void absurdCoordinatesAreNotPainted_data();
    void absurdCoordinatesAreNotPainted();
    void textIsComposedAtEveryPaint();
    void textWithoutMeasure();
    void textMakesRoom();
    void textFollowsTheMouse();
};

void TestMarks::initTestCase() {
    // The golden pictures are made with this font.
    QVERIFY(QFontDatabase().families().contains(QStringLiteral("DejaVu Sans")));
    QGuiApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
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

void TestMarks::pictures_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<double>("zoom");
    for (const auto& figure : kFigures) {
        QTest::addRow("%s", figure.name) << QString::fromLatin1(figure.line) << 1.0;
        QTest::addRow("%s at a quarter", figure.name) << QString::fromLatin1(figure.line) << 0.25;
    }
    QTest::newRow("text") << QStringLiteral("Text #ff0000 1 1 | 20 180 0 0 | 0 x 0 y 1 0 0 0") << 1.0;
    QTest::newRow("text at a quarter")
        << QStringLiteral("Text #ff0000 1 1 | 20 180 0 0 | 0 x 0 y 1 0 0 0") << 0.25;
}

/// Against pictures that were looked at. BIVISTA_NEW_PICTURES=folder writes new ones there, to be looked at.
void TestMarks::pictures() {
    QFETCH(QString, line);
    QFETCH(double, zoom);
    InteractiveScene scene(nullptr, 1);
    // At a quarter, the same picture shows four times as much of the scene.
    scene.setSceneRect(QRectF(kScene.topLeft(), kScene.size() / zoom));
    scene.viewZoom = zoom;
    if (line.startsWith(QLatin1String("Text"))) {
        scene.addRect(0, 0, 1, 1, Qt::NoPen);
        scene.restoreBarcodeMark(line);
    } else {
        QVERIFY(addFromLine(scene, line));
    }
    const QImage picture = rendered(scene, zoom);
    const QString name =
        QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-')) +
        QStringLiteral(".png");
    if (qEnvironmentVariableIsSet("BIVISTA_NEW_PICTURES")) {
        QVERIFY(picture.save(qEnvironmentVariable("BIVISTA_NEW_PICTURES") + QLatin1Char('/') + name));
        return;
    }
#ifdef Q_OS_WIN
    // The kept pictures have the letters of a font and a renderer that are not there.
    if (!name.startsWith(QLatin1String("ellipse")) && !name.startsWith(QLatin1String("coordinates")))
        QSKIP("other letters");
#endif
    const QImage golden(QStringLiteral(TEST_DATA "/marks/") + name);
    QVERIFY2(!golden.isNull(), qPrintable(name));
    const int count = difference(picture, golden.convertToFormat(QImage::Format_RGB32));
    // A few, for the rounding of another processor; the smallest part of a figure has more.
    QVERIFY2(count <= 5, qPrintable(QStringLiteral("%1 pixels differ").arg(count)));
}

template <class M>
class Probe : public M {
public:
    using M::M;
    /// "text @ x1,y1 x2,y2" of each caption: the area as it was asked for, screen px.
    QStringList described() const {
        QStringList list;
        const auto captions = this->captions();
        for (const auto& caption : captions) {
            const QRectF area = caption.area.normalized();
            list.append(QStringLiteral("%1 @ %2,%3 %4,%5")
                            .arg(caption.text)
                            .arg(area.left())
                            .arg(area.top())
                            .arg(area.right())
                            .arg(area.bottom()));
        }
        return list;
    }
};

/// A complete mark of the given points, and what its captions say.
template <class M>
static QStringList captionsOf(InteractiveScene& scene, std::initializer_list<QPointF> points) {
    Probe<M> mark(&scene);
    for (const QPointF point : points)
        press(mark, point);
    return mark.described();
}

void TestMarks::captionTexts() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    const auto text = [](const QStringList& captions) { return captions.join(QLatin1Char(';')); };
    const auto onlyTexts = [](QStringList captions) {
        for (QString& caption : captions)
            caption = caption.section(QStringLiteral(" @"), 0, 0);
        return captions.join(QLatin1Char(';'));
    };
    QCOMPARE(text(captionsOf<CircleMark>(scene, {{130, 100}, {100, 130}, {70, 100}})),
             QStringLiteral(" O(100.00,100.00)[pix] @ 100,68 250,84; R:30.00[pix] @ 110,100 220,120"));
    QCOMPARE(onlyTexts(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 20}})),
             QStringLiteral("90.00'"));
    QCOMPARE(onlyTexts(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 180}})),
             QStringLiteral("90.00'"));
    QCOMPARE(onlyTexts(captionsOf<ArcMark>(scene, {{100, 100}, {180, 40}, {20, 40}})),
             QStringLiteral("106.26'"));
    QCOMPARE(onlyTexts(captionsOf<LineMark>(scene, {{100, 100}, {130, 140}})), QStringLiteral("50.00[pix]"));
    QCOMPARE(text(captionsOf<RectangleMark>(scene, {{300, 200}, {100, 250}})),
             QStringLiteral("W:200.00 H:50.00[pix] @ 280,160 450,180;X:300.00 Y:200.00 @ 280,180 450,200"));
    QCOMPARE(text(captionsOf<EllipseMark>(scene, {{300, 200}, {100, 250}})),
             QStringLiteral("W:200.00 H:50.00[pix] @ 280,160 450,180"));
    QCOMPARE(onlyTexts(captionsOf<HLineMark>(scene, {{11, 22}})), QStringLiteral("22.00[pix]"));
    QCOMPARE(onlyTexts(captionsOf<VLineMark>(scene, {{11, 22}})), QStringLiteral("11.00[pix]"));
    QCOMPARE(onlyTexts(captionsOf<PolygonMark>(scene, {{0, 0}, {100, 0}, {100, 50}, {0, 50}, {1, 1}})),
             QStringLiteral("S:5000.00[pix^2]"));
    // Units and scale; areas take the scale twice.
    scene.unitScale = 0.5;
    scene.unit = 1;
    QCOMPARE(onlyTexts(captionsOf<LineMark>(scene, {{100, 100}, {130, 140}})), QStringLiteral("25.00[mm]"));
    QCOMPARE(onlyTexts(captionsOf<CircleMark>(scene, {{130, 100}, {100, 130}, {70, 100}})),
             QStringLiteral(" O(50.00,50.00)[mm]; R:15.00[mm]"));
    QCOMPARE(onlyTexts(captionsOf<RectangleMark>(scene, {{300, 200}, {100, 250}})),
             QStringLiteral("W:100.00 H:25.00[mm];X:150.00 Y:100.00"));
    scene.unit = 9;
    QCOMPARE(onlyTexts(captionsOf<PolygonMark>(scene, {{0, 0}, {100, 0}, {100, 50}, {0, 50}, {1, 1}})),
             QStringLiteral("S:1250.00[um^2]"));
    // An angle has no unit.
    QCOMPARE(onlyTexts(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 20}})),
             QStringLiteral("90.00'"));
}

/// Lengths are single precision: 0.1 from a place far out is not 0.10 any more.
void TestMarks::lengthsAreSinglePrecision() {
    InteractiveScene scene(nullptr, 1);
    QVERIFY(captionsOf<RectangleMark>(scene, {{20000, 0}, {20000.12, 50}})[0].startsWith(
        QStringLiteral("W:0.12 ")));
    QVERIFY(!captionsOf<RectangleMark>(scene, {{900000.04, 0}, {900000.12, 50}})[0].startsWith(
        QStringLiteral("W:0.08 ")));
}

void TestMarks::captionPlaces() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    const auto centre = [](const QString& described) {
        const QStringList numbers = described.section(QStringLiteral(" @ "), 1)
                                        .replace(QLatin1Char(' '), QLatin1Char(','))
                                        .split(QLatin1Char(','));
        return QPointF((numbers[0].toDouble() + numbers[2].toDouble()) / 2,
                       (numbers[1].toDouble() + numbers[3].toDouble()) / 2);
    };
    // Inside the scene's edges wherever the line is.
    for (const auto& [a, b] :
         {std::pair(QPointF(5, 5), QPointF(600, 5)), std::pair(QPointF(5, 5), QPointF(5, 600)),
          std::pair(QPointF(700, 5), QPointF(990, 5)), std::pair(QPointF(2, 30), QPointF(60, 2)),
          std::pair(QPointF(0, 0), QPointF(80, 80))}) {
        const QPointF place = centre(captionsOf<LineMark>(scene, {a, b})[0]);
        QVERIFY2(place.x() >= 40 && place.y() >= 10,
                 qPrintable(QStringLiteral("%1 %2").arg(place.x()).arg(place.y())));
    }
    QVERIFY(centre(captionsOf<LineMark>(scene, {{100, 400}, {500, 400}})[0]).y() < 400);
    QCOMPARE(centre(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 20}})[0]), QPointF(170, 120));
    // Beside the rightmost vertex, where there is room, else beside the leftmost.
    QCOMPARE(centre(captionsOf<PolygonMark>(scene, {{500, 100}, {840, 200}, {500, 300}, {501, 101}})[0]),
             QPointF(910, 220));
    QCOMPARE(centre(captionsOf<PolygonMark>(scene, {{500, 100}, {860, 200}, {500, 300}, {501, 101}})[0]),
             QPointF(450, 120));
    // Constant on screen: at zoom 0.25 the same offsets from a quarter of the coordinates.
    scene.viewZoom = 0.25;
    QCOMPARE(centre(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 20}})[0]), QPointF(95, 45));
    QCOMPARE(captionsOf<CircleMark>(scene, {{130, 100}, {100, 130}, {70, 100}})[1],
             QStringLiteral(" R:30.00[pix] @ 35,25 145,45"));
}

void TestMarks::captionsNameTheUnit_data() {
    QTest::addColumn<QString>("line");
    for (const auto& figure : kFigures) {
        const QString line = QString::fromLatin1(figure.line);
        if (line.section(QLatin1Char(' '), 3, 3) == QLatin1String("1") &&
            !line.startsWith(QLatin1String("Coord")) && !line.startsWith(QLatin1String("Arc")))
            QTest::newRow(figure.name) << line;
    }
}

/// Texts cannot be read back from a picture: that unit and factor are in them shows in that they change it.
void TestMarks::captionsNameTheUnit() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    QVERIFY(addFromLine(scene, line));
    const QImage inPixels = rendered(scene);
    scene.unit = 1;
    const QImage inMillimetres = rendered(scene);
    scene.unit = 7;
    const QImage inMicrometres = rendered(scene);
    scene.unitScale = 0.5;
    const QImage halved = rendered(scene);
    QVERIFY(inPixels != inMillimetres);
    QVERIFY(inMillimetres != inMicrometres);
    QVERIFY(inMicrometres != halved);
}

void TestMarks::measuresAreDrawnOnlyWhenAskedFor_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("differs");
    for (const auto& figure : kFigures) {
        const QString line = QString::fromLatin1(figure.line);
        QTest::newRow(figure.name) << line << !line.startsWith(QLatin1String("Coord"));
    }
}

void TestMarks::measuresAreDrawnOnlyWhenAskedFor() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    Mark* mark = addFromLine(scene, line);
    mark->showMeasure = 1;
    const QImage with = rendered(scene);
    mark->showMeasure = 0;
    const QImage without = rendered(scene);
    QTEST(with != without, "differs");
    QVERIFY(!inked(without).isNull());
}

void TestMarks::boundingRectCoversThePaint_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<double>("zoom");
    for (const auto& figure : kFigures) {
        for (const double zoom : {1.0, 0.25, 3.0}) {
            QTest::addRow("%s at %g", figure.name, zoom) << QString::fromLatin1(figure.line) << zoom;
        }
    }
}

void TestMarks::boundingRectCoversThePaint() {
    QFETCH(QString, line);
    QFETCH(double, zoom);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1, 1);  // what covers the whole scene has to come from the figure itself
    scene.viewZoom = zoom;
    const auto mark = markFromLine(line, &scene);
    mark->showMeasure = 1;
    // Painted with nothing around it that could clip.
    const QPointF origin(-900, -900);
    QImage image(2400, 2400, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.translate(-origin);
    mark->paint(&painter, nullptr, nullptr);
    painter.end();
    const QRect ink = inked(image).translated(origin.toPoint());
    QVERIFY(!ink.isNull());
    QRectF bounds = mark->boundingRect();
    // An ellipse's is that of its corners; its effect says what it covers.
    if (const QGraphicsEffect* effect = mark->graphicsEffect())
        bounds = effect->boundingRectFor(bounds);
    // Half a pixel: an inked pixel is counted whole.
    QVERIFY2(bounds.adjusted(-0.5, -0.5, 0.5, 0.5).contains(QRectF(ink)),
             qPrintable(QStringLiteral("ink %1..%2 x %3..%4")
                            .arg(ink.left())
                            .arg(ink.right())
                            .arg(ink.top())
                            .arg(ink.bottom())));
}

void TestMarks::boundingRectOfACircle() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(20, 10, 400, 300);
    const auto circle = markFromLine(QStringLiteral("Circle #c0a000 1 0 | 120 150 260 150 190 80"), &scene);
    QCOMPARE(circle->boundingRect(), QRectF(0, 0, 400, 300));  // from the origin, whatever the scene's corner
    scene.setSceneRect(0, 0, 800, 600);
    QCOMPARE(circle->boundingRect(), QRectF(0, 0, 800, 600));
}

void TestMarks::noTrails_data() {
    QTest::addColumn<QString>("line");
    for (const auto& figure : kFigures)
        QTest::newRow(figure.name) << QString::fromLatin1(figure.line);
    QTest::newRow("text") << QStringLiteral("Text #ff0000 1 1 | 60 180 0 0 | 0 x 0 y 1 0 0 0");
}

/// After a move, a view that repaints only what it was told to shows what a fresh one shows.
void TestMarks::noTrails() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    Mark* mark = nullptr;
    if (line.startsWith(QLatin1String("Text"))) {
        auto text = TextMark::fromText(line, &scene);
        mark = text.release();
        scene.addItem(mark);
    } else {
        mark = addFromLine(scene, line);
    }
    mark->showMeasure = 1;
    const auto open = [&scene](QGraphicsView& view) {
        view.setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
        view.setFrameShape(QFrame::NoFrame);
        view.resize(kScene.size().toSize());
        view.show();
        return QTest::qWaitForWindowExposed(&view);
    };
    // What is on the screen: grabbing the widget would paint it anew.
    const auto onScreen = [](const QGraphicsView& view) {
        return view.screen()->grabWindow(view.winId()).toImage().convertToFormat(QImage::Format_RGB32);
    };
    QGraphicsView watched(&scene);
    QVERIFY(open(watched));
    QTRY_VERIFY(inked(onScreen(watched)).width() > 20);
    const QImage before = onScreen(watched);
    for (int step = 0; step < 4; ++step) {
        mark->shiftBy(7, 5);
        QCoreApplication::processEvents();
    }
    QTRY_VERIFY(onScreen(watched) != before);
    QGraphicsView fresh(&scene);
    QVERIFY(open(fresh));
    QTRY_VERIFY(inked(onScreen(fresh)).width() > 20);
    QTRY_COMPARE(onScreen(watched), onScreen(fresh));
}

void TestMarks::acrossAGrowingScene_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("left");
    for (const auto& figure : kFigures) {
        for (const int left : {0, -100}) {
            QTest::addRow("%s, tile at %d", figure.name, left) << QString::fromLatin1(figure.line) << left;
        }
    }
}

/// A scene without a rectangle of its own asks its items how large it is, and those that go across it depend
/// on it: that must come to rest.
void TestMarks::acrossAGrowingScene() {
    QFETCH(QString, line);
    QFETCH(int, left);
    const WorkingFolder folder;
    InteractiveScene scene(nullptr, 1);
    QGraphicsView view(&scene);
    auto* tile = scene.addRect(left, 0, 500, 400, Qt::NoPen, Qt::lightGray);
    view.resize(400, 300);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), line.toLatin1() + "\r\n"));
    scene.loadMarks(0);
    scene.setMode(7);
    QCoreApplication::processEvents();
    const QRectF rect = scene.sceneRect();
    QVERIFY(rect.width() < 1000 && rect.height() < 1000);
    QCOMPARE(scene.wholeRect(), QRectF(0, 0, 500, 400));
    QCoreApplication::processEvents();
    QCOMPARE(scene.sceneRect(), rect);
    tile->setRect(left, 0, 700, 400);
    QCoreApplication::processEvents();
    QTRY_COMPARE(scene.wholeRect(), QRectF(0, 0, 700, 400));
    QVERIFY(scene.sceneRect().width() < 1200);
}

/// When the scene becomes larger, lines across it do.
void TestMarks::acrossALargerScene() {
    const WorkingFolder folder;
    InteractiveScene scene(nullptr, 1);
    scene.addRect(0, 0, 100, 100, Qt::NoPen);
    scene.setSceneRect(0, 0, 100, 100);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"),
                                 "HLine #000000 1 0 | 0 40\r\nVLine #000000 1 0 | 40 0\r\n"));
    scene.loadMarks(0);
    QGraphicsView view(&scene);
    view.setFrameShape(QFrame::NoFrame);
    view.resize(400, 300);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    QCoreApplication::processEvents();
    scene.setSceneRect(0, 0, 400, 300);
    const auto shown = [&] { return view.screen()->grabWindow(view.winId()).toImage(); };
    QTRY_VERIFY(qGray(shown().pixel(390, 40)) < 128 || qGray(shown().pixel(390, 39)) < 128);
    QTRY_VERIFY(qGray(shown().pixel(40, 290)) < 128 || qGray(shown().pixel(39, 290)) < 128);
    int covering = 0;
    for (const QGraphicsItem* item : scene.items())
        covering += item->sceneBoundingRect().contains(QRectF(0, 0, 400, 300)) ? 1 : 0;
    QCOMPARE(covering, 2);
}

void TestMarks::firstClickOfACircleIsADot() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    auto* mark = new CircleMark(&scene);
    scene.addItem(mark);
    press(*mark, {100, 100});
    const QRect ink = inked(rendered(scene));
    QVERIFY(!ink.isNull());
    QVERIFY(QRect(98, 98, 6, 6).contains(ink));
}

void TestMarks::absurdCoordinatesAreNotPainted_data() {
    QTest::addColumn<QString>("line");
    for (const char* number : {"nan", "inf", "-inf", "1e308", "-1e308", "1e300", "3e9"}) {
        for (const char* pattern :
             {"Line #000000 1 1 | % % 3 4", "Circle #000000 1 1 | % % 3 4 9 9",
              "Arc #000000 1 1 | % 1 % 4 5 6", "Rectangle #000000 1 1 % | % 2 3 4",
              "Ellipse #000000 1 1 % | 1 % 3 4", "HLine #000000 1 1 | % %", "VLine #000000 1 1 | % %",
              "Coordinates #000000 1 1 | % %", "Polygon #000000 1 1 2 | 1 % 3 4 "}) {
            const QString line =
                QString::fromLatin1(pattern).replace(QLatin1Char('%'), QLatin1String(number));
            QTest::newRow(qPrintable(line)) << line;
        }
    }
}

void TestMarks::absurdCoordinatesAreNotPainted() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    Mark* mark = addFromLine(scene, line);
    QVERIFY(mark);
    QVERIFY(inked(rendered(scene)).isNull());
    const QRectF bounds = mark->boundingRect();
    QVERIFY(std::isfinite(bounds.width()) && std::isfinite(bounds.height()) && bounds.width() < 1e7);
    mark->shiftBy(1, 1);
    mark->toText();
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
