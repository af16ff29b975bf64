// SPDX-License-Identifier: Apache-2.0
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QPainter>
#include <QtTest>
#include <functional>

#include "control/textplaces.h"

namespace {

using Paint = std::function<void(QPainter&)>;

/// Paints what a test says, within a scene of 200 x 150 px.
class PaintedItem : public QGraphicsItem {
public:
    explicit PaintedItem(Paint what) : painting(std::move(what)) {}
    QRectF boundingRect() const override { return {0, 0, 200, 150}; }
    void paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) override { painting(*painter); }

private:
    Paint painting;
};

QImage rendered(QGraphicsScene& scene) {
    QImage picture(scene.sceneRect().size().toSize(), QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    scene.render(&painter);
    return picture;
}

/// What painting may ask of the device that it goes to.
QMap<QByteArray, double> answersOf(const QPaintDevice& device) {
    return {{"width", device.width()},
            {"height", device.height()},
            {"width, mm", device.widthMM()},
            {"height, mm", device.heightMM()},
            {"logical dpi, x", device.logicalDpiX()},
            {"logical dpi, y", device.logicalDpiY()},
            {"physical dpi, x", device.physicalDpiX()},
            {"physical dpi, y", device.physicalDpiY()},
            {"pixel ratio", device.devicePixelRatio()},
            {"exact pixel ratio", device.devicePixelRatioF()},
            {"bits", device.depth()}};
}

/// Everything that is not white, px of the picture.
QRect inked(const QImage& picture) {
    QRect rect;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (picture.pixel(x, y) != qRgb(255, 255, 255))
                rect |= QRect(x, y, 1, 1);
        }
    }
    return rect;
}

}  // namespace

Q_DECLARE_METATYPE(Paint)

/// Where text is in the picture of a scene.
class TestTextPlaces : public QObject {
    Q_OBJECT

private slots:
    void init();
    void textIsFound_data();
    void textIsFound();
    void eachLineHasItsPlace();
    void nothingElseIsText_data();
    void nothingElseIsText();
    void theSceneIsLeft();
    void emptyScene();
    void answersAsAPicture();

private:
    std::unique_ptr<QGraphicsScene> scene;
};

void TestTextPlaces::init() {
    scene = std::make_unique<QGraphicsScene>(0, 0, 200, 150);
}

void TestTextPlaces::textIsFound_data() {
    QTest::addColumn<QPointF>("place");
    QTest::addColumn<double>("degrees");
    QTest::addColumn<double>("scale");
    QTest::addColumn<QPointF>("corner");  // of the scene
    QTest::newRow("as it is") << QPointF(40, 50) << 0.0 << 1.0 << QPointF();
    QTest::newRow("between pixels") << QPointF(40.5, 50.3) << 0.0 << 1.0 << QPointF();
    QTest::newRow("turned") << QPointF(60, 40) << 30.0 << 1.0 << QPointF();
    QTest::newRow("upright") << QPointF(100, 20) << 90.0 << 1.0 << QPointF();
    QTest::newRow("larger") << QPointF(20, 30) << 0.0 << 2.5 << QPointF();
    QTest::newRow("scene elsewhere") << QPointF(1040, -450) << 0.0 << 1.0 << QPointF(1000, -500);
}

void TestTextPlaces::textIsFound() {
    QFETCH(QPointF, place);
    QFETCH(double, degrees);
    QFETCH(double, scale);
    QFETCH(QPointF, corner);
    scene->setSceneRect({corner, QSizeF(200, 150)});
    auto* text = scene->addSimpleText(QStringLiteral("fjTgq 12"));
    text->setPos(place);
    text->setRotation(degrees);
    text->setScale(scale);
    const QRect ink = inked(rendered(*scene));
    QVERIFY(!ink.isEmpty());
    const QVector<QRect> places = textPlaces(scene.get());
    QCOMPARE(places.size(), 1);
    QVERIFY(places[0].contains(ink));
    // A little more, not half the picture.
    const double height = scale * QFontMetricsF(text->font()).height();
    const QRect most =
        ink.adjusted(qRound(-3 * height), qRound(-3 * height), qRound(3 * height), qRound(3 * height));
    QVERIFY(most.contains(places[0]));
}

void TestTextPlaces::eachLineHasItsPlace() {
    scene->addSimpleText(QStringLiteral("one"))->setPos(10, 10);
    scene->addSimpleText(QStringLiteral("two"))->setPos(120, 100);
    const QVector<QRect> places = textPlaces(scene.get());
    QCOMPARE(places.size(), 2);
    QVERIFY(!places[0].intersects(places[1]));
}

void TestTextPlaces::nothingElseIsText_data() {
    QTest::addColumn<Paint>("paint");
    QTest::newRow("picture") << Paint([](QPainter& painter) {
        QImage image(30, 20, QImage::Format_RGB32);
        image.fill(Qt::red);
        painter.drawImage(QPointF(10, 10), image);
    });
    QTest::newRow("pixmap") << Paint([](QPainter& painter) {
        QPixmap pixmap(30, 20);
        pixmap.fill(Qt::red);
        painter.drawPixmap(QPointF(10, 10), pixmap);
    });
    QTest::newRow("line") << Paint(
        [](QPainter& painter) { painter.drawLine(QPointF(10, 10), QPointF(90, 70)); });
    QTest::newRow("rectangle") << Paint([](QPainter& painter) { painter.drawRect(QRectF(10, 10, 50, 40)); });
    QTest::newRow("ellipse") << Paint([](QPainter& painter) { painter.drawEllipse(QRectF(10, 10, 50, 40)); });
    QTest::newRow("polygon") << Paint([](QPainter& painter) {
        painter.drawPolygon(QPolygonF(QVector<QPointF>{{10, 10}, {60, 20}, {30, 70}}));
    });
    QTest::newRow("path") << Paint([](QPainter& painter) {
        QPainterPath path(QPointF(10, 10));
        path.cubicTo(50, 0, 60, 90, 120, 40);
        painter.drawPath(path);
    });
    QTest::newRow("filled") << Paint(
        [](QPainter& painter) { painter.fillRect(QRectF(10, 10, 50, 40), Qt::red); });
}

void TestTextPlaces::nothingElseIsText() {
    QFETCH(Paint, paint);
    scene->addItem(new PaintedItem(paint));
    QVERIFY(!inked(rendered(*scene)).isEmpty());
    QVERIFY(textPlaces(scene.get()).isEmpty());
    scene->addSimpleText(QStringLiteral("text"))->setPos(100, 100);
    QCOMPARE(textPlaces(scene.get()).size(), 1);
}

void TestTextPlaces::theSceneIsLeft() {
    scene->addRect(20, 20, 80, 60, QPen(Qt::red), Qt::green);
    scene->addSimpleText(QStringLiteral("text"))->setPos(30, 30);
    const QImage before = rendered(*scene);
    textPlaces(scene.get());
    QCOMPARE(rendered(*scene), before);
}

void TestTextPlaces::emptyScene() {
    QVERIFY(textPlaces(scene.get()).isEmpty());
}

/// What is painted by them, such as letters of a height in mm, has to be the same.
void TestTextPlaces::answersAsAPicture() {
    QMap<QByteArray, double> answers;
    scene->addItem(new PaintedItem([&](QPainter& painter) { answers = answersOf(*painter.device()); }));
    rendered(*scene);
    const auto ofPicture = std::exchange(answers, {});
    QVERIFY(!ofPicture.isEmpty());
    textPlaces(scene.get());
    QCOMPARE(answers, ofPicture);
}

QTEST_MAIN(TestTextPlaces)
#include "tst_textplaces.moc"
