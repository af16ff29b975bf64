// SPDX-License-Identifier: Apache-2.0
#include <QStyleOptionGraphicsItem>
#include <vector>

#include "support/smallpixels.h"
#include "support/tilescreen.h"

/// Where tiles are drawn as Qt draws them, and what drawing them leaves alone.
class TestTileRendering : public QObject {
    Q_OBJECT

private slots:
    void marksAreAsEver();
    void markIsRepaintedWithoutThePicture();
    void anotherZoomAndBack();
    void otherTransformsAsEver_data();
    void otherTransformsAsEver();
    void selectedTileAsEver();
    void renderedViewAsEver();
    void renderedSceneAsEver_data();
    void renderedSceneAsEver();
    void picturesAreLetGo();
    void painterIsAsItWas();
    void nothingBesideTheWidget();
    /// All that is here on screens with more pixels than the desktop says.
    void smallPixels_data() { addPixelRatios(); }
    void smallPixels() { runWithPixelRatio(); }
};

/// On tiles of one grey a view is byte for byte that of plain pixmap items.
void TestTileRendering::marksAreAsEver() {
    const auto fill = [](Shown& shown) {
        QPen pen(Qt::red);
        pen.setCosmetic(true);
        shown.scene.addLine(-30, -30, 402.3, 311.7, pen)->setZValue(5);
        shown.scene.addRect(33.3, 44.4, 200.5, 150.25, QPen(Qt::green, 3))->setZValue(5);
        shown.scene.addEllipse(100, 100, 222, 111, QPen(Qt::blue, 0))->setZValue(5);
        shown.scene.addText(QStringLiteral("12.5 px"))->setZValue(5);
    };
    QImage grey({300, 200}, QImage::Format_Grayscale8);
    grey.fill(128);
    for (const double scale : {0.3725, 0.8, 1.0, 1.7}) {
        Shown tiles;
        Shown plain(true);
        for (const QPointF place : {QPointF(0.4, 0.4), QPointF(300.4, 0.4)}) {
            tiles.addTile(grey, place);
            plain.addPlain(grey, place);
        }
        fill(tiles);
        fill(plain);
        tiles.show(scale);
        plain.show(scale);
        // Qt's own pixmaps end elsewhere by a pixel now and then.
        const QImage a = tiles.onScreen();
        const QImage b = plain.onScreen();
        const QRect inner = tiles.toDevice(tiles.group->front())
                                .mapRect(QRectF(0, 0, 600, 200))
                                .toAlignedRect()
                                .adjusted(2, 2, -2, -2);
        QCOMPARE(a.copy(inner & a.rect()), b.copy(inner & b.rect()));
    }
}

void TestTileRendering::markIsRepaintedWithoutThePicture() {
    Shown shown;
    const auto tiles =
        addQuarters(shown, makePicture({487, 351}, QImage::Format_Grayscale8, false), {241, 175}, {});
    auto* line = shown.scene.addLine(0, 0, 400, 300, QPen(Qt::red, 0));
    line->setZValue(5);
    shown.show(0.3725);
    QImage last = shown.onScreen();
    std::vector<int> before;
    for (const TileItem* tile : tiles)
        before.push_back(tile->madeCount());
    for (int step = 1; step < 5; ++step) {
        line->setPos(step * 13, -step * 4);
        const QImage screen = shown.onScreen();
        QVERIFY(screen != last);
        last = screen;
    }
    shown.view.viewport()->update();
    QCOMPARE(shown.onScreen(), last);
    for (size_t i = 0; i < tiles.size(); ++i)
        QCOMPARE(tiles[i]->madeCount(), before[i]);
    tiles[0]->setPixmap(
        pixmapOf(makePicture(tiles[0]->pixmap().size(), QImage::Format_Grayscale8, false, 9)));
    QVERIFY(shown.onScreen() != last);
    QCOMPARE(tiles[0]->madeCount(), before[0] + 1);
    QCOMPARE(tiles[3]->madeCount(), before[3]);
}

void TestTileRendering::anotherZoomAndBack() {
    Shown shown;
    auto* tile = shown.addTile(makePicture({487, 351}, QImage::Format_Grayscale8, true), {0.3, 0.4});
    for (const double scale : {0.3725, 0.41, 1.3, 0.3725, 0.2}) {
        shown.show(scale);
        QVERIFY(fromExact(shown.onScreen(), shown, tile).most <= 2);
        tile->moveBy(1.3, 0);
        QVERIFY(fromExact(shown.onScreen(), shown, tile).most <= 2);
    }
}

void TestTileRendering::otherTransformsAsEver_data() {
    QTest::addColumn<QTransform>("transform");
    QTest::addColumn<double>("opacity");
    QTest::newRow("turned") << QTransform().rotate(7).scale(0.4, 0.4) << 1.0;
    QTest::newRow("turned by 90") << QTransform().rotate(90) << 1.0;
    QTest::newRow("wider") << QTransform::fromScale(0.5, 0.4) << 1.0;
    QTest::newRow("mirrored") << QTransform::fromScale(-0.5, 0.5) << 1.0;
    QTest::newRow("both mirrored") << QTransform::fromScale(-0.5, -0.5) << 1.0;
    QTest::newRow("sheared") << QTransform().shear(0.1, 0).scale(0.5, 0.5) << 1.0;
    QTest::newRow("see-through") << QTransform::fromScale(0.5, 0.5) << 0.4;
}

void TestTileRendering::otherTransformsAsEver() {
    QFETCH(QTransform, transform);
    QFETCH(double, opacity);
    const QImage picture = makePicture({300, 200}, QImage::Format_RGB32, false);
    Shown tile;
    Shown plain(true);
    tile.addTile(picture, {3, 4})->setOpacity(opacity);
    plain.addPlain(picture, {3, 4})->setOpacity(opacity);
    for (Shown* shown : {&tile, &plain}) {
        shown->show(1);
        shown->view.setTransform(transform);
    }
    QCOMPARE(tile.onScreen(), plain.onScreen());
    QCOMPARE(tile.group->front()->madeCount() > 1, false);  // the one of scale 1
}

/// Qt draws a frame around it.
void TestTileRendering::selectedTileAsEver() {
    const QImage picture = makePicture({300, 200}, QImage::Format_RGB32, false);
    Shown tile;
    Shown plain(true);
    QImage screens[2];
    for (Shown* shown : {&tile, &plain}) {
        const bool isPlain = shown == &plain;
        QGraphicsPixmapItem* item =
            isPlain ? shown->addPlain(picture, {3, 4}) : shown->addTile(picture, {3, 4});
        item->setFlag(QGraphicsItem::ItemIsSelectable);
        shown->show(0.5);
        const QImage before = shown->onScreen();
        item->setSelected(true);
        screens[isPlain ? 1 : 0] = shown->onScreen();
        QVERIFY(screens[isPlain ? 1 : 0] != before);
    }
    QCOMPARE(screens[0], screens[1]);
}

/// Also the background lies where it belongs, whatever the tiles cover in the view itself.
void TestTileRendering::renderedViewAsEver() {
    const QImage picture = makePicture({300, 200}, QImage::Format_RGB32, false);
    Shown tile;
    Shown plain(true);
    tile.addTile(picture, {3, 4});
    plain.addPlain(picture, {3, 4});
    QImage rendered[2];
    for (Shown* shown : {&tile, &plain}) {
        shown->show(0.5);
        shown->onScreen();
        QImage& to = rendered[shown == &plain ? 1 : 0];
        to = QImage(200, 150, QImage::Format_RGB32);
        to.fill(Qt::red);
        QPainter painter(&to);
        shown->view.render(&painter, QRectF(20, 10, 160, 120));
    }
    QCOMPARE(rendered[0], rendered[1]);
}

void TestTileRendering::renderedSceneAsEver_data() {
    QTest::addColumn<QImage::Format>("picture");
    QTest::addColumn<QImage::Format>("target");
    for (const auto& [name, format] :
         {std::make_pair("grey", QImage::Format_Grayscale8), std::make_pair("RGB888", QImage::Format_RGB888),
          std::make_pair("RGB32", QImage::Format_RGB32)}) {
        QTest::addRow("%s to ARGB32", name) << format << QImage::Format_ARGB32_Premultiplied;
        QTest::addRow("%s to RGB888", name) << format << QImage::Format_RGB888;
    }
}

void TestTileRendering::renderedSceneAsEver() {
    QFETCH(QImage::Format, picture);
    QFETCH(QImage::Format, target);
    const QImage image = makePicture({300, 200}, picture, false);
    for (const double scale : {1.0, 0.4, 1.7}) {
        QImage rendered[2];
        for (const bool isTile : {false, true}) {
            Shown shown;
            for (const QPointF place : {QPointF(), QPointF(300, 0.3)})
                isTile ? static_cast<void>(shown.addTile(image, place))
                       : static_cast<void>(shown.addPlain(image, place));
            shown.show(0.5);
            shown.onScreen();  // what a view shows is nothing to it
            QImage& to = rendered[isTile ? 1 : 0];
            to = QImage((QSizeF(600, 200) * scale).toSize(), target);
            to.fill(Qt::black);
            QPainter painter(&to);
            shown.scene.render(&painter, {}, QRectF(0, 0, 600, 200));
        }
        QCOMPARE(rendered[1], rendered[0]);
    }
}

/// The memory of pictures is used again; one that is not shown any more is nobody's.
void TestTileRendering::picturesAreLetGo() {
    Shown shown;
    const auto tiles =
        addQuarters(shown, makePicture({487, 351}, QImage::Format_Grayscale8, false), {241, 175}, {});
    QImage picture = makePicture({241, 175}, QImage::Format_Grayscale8, false, 3);
    tiles[0]->setPixmap(pixmapOf(picture));
    shown.show(0.3725);
    shown.onScreen();
    QVERIFY(!picture.isDetached());
    tiles[0]->setPixmap(pixmapOf(makePicture({241, 175}, QImage::Format_Grayscale8, false, 4)));
    QVERIFY(picture.isDetached());
}

void TestTileRendering::painterIsAsItWas() {
    TileItem tile(pixmapOf(makePicture({300, 200}, QImage::Format_Grayscale8, false)));
    QWidget widget;
    widget.resize(100, 100);
    QImage image(100, 100, QImage::Format_RGB32);
    QPainter painter(&image);
    const QTransform transform = QTransform::fromScale(0.4, 0.4).translate(3.3, 4.4);
    painter.setWorldTransform(transform);
    const QStyleOptionGraphicsItem option;
    tile.paint(&painter, &option, &widget);
    QCOMPARE(tile.madeCount(), 1);
    QCOMPARE(painter.worldTransform(), transform);
}

/// However the painter's transform is rounded.
void TestTileRendering::nothingBesideTheWidget() {
    TileItem tile(pixmapOf(makePicture({300, 200}, QImage::Format_Grayscale8, false)));
    QWidget widget;
    widget.resize(100, 80);
    const QStyleOptionGraphicsItem option;
    for (const double ratio : {1.0, 1.25, 1.5, 1.75, 2.0}) {
        const int right = int(100 * ratio);
        const int bottom = int(80 * ratio);
        QImage image(right + 10, bottom + 10, QImage::Format_RGB32);
        image.setDevicePixelRatio(ratio);
        for (int step = 0; step < 300; ++step) {
            const double scale = 0.6 + step * 0.0037;
            image.fill(Qt::red);
            QPainter painter(&image);
            painter.setWorldTransform(QTransform(scale, 0, 0, scale, -3.3 - step * 0.01, -7.7));
            tile.paint(&painter, &option, &widget);
            painter.end();
            QVERIFY(QColor(image.pixel(right - 1, bottom - 1)) != QColor(Qt::red));
            QCOMPARE(QColor(image.pixel(right - 1, bottom)), QColor(Qt::red));
            QCOMPARE(QColor(image.pixel(right, bottom - 1)), QColor(Qt::red));
        }
    }
}

QTEST_MAIN(TestTileRendering)
#include "tst_tilerendering.moc"
