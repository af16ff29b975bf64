// SPDX-License-Identifier: Apache-2.0
#include <QScrollBar>
#include <cmath>
#include <random>
#include <vector>

#include "support/smallpixels.h"
#include "support/exactmean.h"
#include "support/tilescreen.h"

/// What a view shows of tiles, by what is in the window afterwards: means, own pixels, seams, new pictures.
class TestTileItem : public QObject {
    Q_OBJECT

private slots:
    void meanBelowScaleOne_data();
    void meanBelowScaleOne();
    void ownPixelsFromScaleOneOn_data();
    void ownPixelsFromScaleOneOn();
    void aHairBesideScaleOne_data();
    void aHairBesideScaleOne();
    void quartersAreOnePicture_data();
    void quartersAreOnePicture();
    void quartersWithFourColours();
    void oneNewPicture();
    void oneNewPictureOfTinyTiles();
    void followedPicture_data();
    void followedPicture();
    void theTopmostIsSeen_data();
    void theTopmostIsSeen();
    void tileThatIsDragged();
    void tilesThatComeAndGo();
    void scrolled_data();
    void scrolled();
    void grabbedIsOnScreen();
    /// All that is here on screens with more pixels than the desktop says.
    void smallPixels_data() { addPixelRatios(); }
    void smallPixels() { runWithPixelRatio(); }
};

void TestTileItem::meanBelowScaleOne_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<double>("scale");
    QTest::addColumn<QPointF>("place");
    for (const auto& [name, format] :
         {std::make_pair("grey", QImage::Format_Grayscale8), std::make_pair("RGB888", QImage::Format_RGB888),
          std::make_pair("RGB32", QImage::Format_RGB32)}) {
        for (const double scale : {0.999, 0.61, 0.5, 0.3725, 0.07})
            QTest::addRow("%s %g", name, scale) << format << scale << QPointF(3, 5);
        QTest::addRow("%s between", name) << format << 0.3725 << QPointF(3.3, -7.81);
    }
}

void TestTileItem::meanBelowScaleOne() {
    QFETCH(QImage::Format, format);
    QFETCH(double, scale);
    QFETCH(QPointF, place);
    Shown shown;
    auto* tile = shown.addTile(makePicture({523, 401}, format, true), place);
    shown.show(scale);
    const Difference smooth = fromExact(shown.onScreen(), shown, tile);
    QVERIFY2(smooth.most <= 2, qPrintable(QString::number(smooth.most)));
    tile->setPixmap(pixmapOf(makePicture({523, 401}, format, false)));
    const Difference fine = fromExact(shown.onScreen(), shown, tile);
    QVERIFY2(fine.psnr() >= 28, qPrintable(QStringLiteral("%1, %2").arg(fine.psnr()).arg(fine.most)));
}

void TestTileItem::ownPixelsFromScaleOneOn_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<double>("scale");
    QTest::addColumn<QPoint>("scroll");
    for (const auto& [name, format] :
         {std::make_pair("grey", QImage::Format_Grayscale8), std::make_pair("RGB888", QImage::Format_RGB888),
          std::make_pair("RGB32", QImage::Format_RGB32)}) {
        for (const double scale : {1.0, 1.1, 2.5, 3.0, 17.3}) {
            QTest::addRow("%s %g", name, scale) << format << scale << QPoint();
            QTest::addRow("%s %g scrolled", name, scale) << format << scale << QPoint(37, 21);
        }
    }
}

void TestTileItem::ownPixelsFromScaleOneOn() {
    QFETCH(QImage::Format, format);
    QFETCH(double, scale);
    QFETCH(QPoint, scroll);
    for (const QPointF place : {QPointF(3, 5), QPointF(-2.3, 7.77)}) {
        Shown shown;
        auto* tile = shown.addTile(makePicture({211, 97}, format, false), place);
        shown.show(scale);
        shown.onScreen();
        shown.show(scale, scroll);
        QCOMPARE(fromExact(shown.onScreen(), shown, tile).most, 0.0);
    }
}

void TestTileItem::aHairBesideScaleOne_data() {
    QTest::addColumn<double>("scale");
    QTest::newRow("below by rounding") << 1 - 2.2e-16;
    QTest::newRow("below") << 1 - 5e-10;
    QTest::newRow("above by rounding") << 1 + 4e-16;
    const double halfOut = std::pow(1.1, -0.5);
    QTest::newRow("out and in") << 1.0 * halfOut * halfOut * 1.1;
}

/// Nothing is mixed there, also not where two tiles join within a pixel.
void TestTileItem::aHairBesideScaleOne() {
    QFETCH(double, scale);
    const QImage picture = makePicture({211, 97}, QImage::Format_RGB888, false);
    QImage shown[2];
    for (const bool isBeside : {false, true}) {
        Shown tiles;
        addQuarters(tiles, picture, {100, 50}, {0.3, 7.77});
        tiles.show(isBeside ? scale : 1.0);
        shown[isBeside ? 1 : 0] = tiles.onScreen();
    }
    QCOMPARE(shown[1], shown[0]);
}

void TestTileItem::quartersAreOnePicture_data() {
    QTest::addColumn<double>("scale");
    QTest::addColumn<QPoint>("scroll");
    QTest::addColumn<QPointF>("place");
    for (const double scale : {0.93, 0.5, 0.3725, 0.1234}) {
        QTest::addRow("%g", scale) << scale << QPoint() << QPointF();
        QTest::addRow("%g, scrolled", scale) << scale << QPoint(13, 29) << QPointF();
        QTest::addRow("%g, between", scale) << scale << QPoint() << QPointF(-7.37, 11.81);
    }
    // Edges on the borders of pixels, and across their middle.
    QTest::newRow("on borders") << 0.5 << QPoint() << QPointF(-40, -40);
    QTest::newRow("middle") << 0.5 << QPoint() << QPointF(-41, -41);
    QTest::newRow("own pixels") << 1.0 << QPoint(3, 3) << QPointF();
    QTest::newRow("large pixels") << 2.37 << QPoint(300, 200) << QPointF(0.4, 0.1);
}

void TestTileItem::quartersAreOnePicture() {
    QFETCH(double, scale);
    QFETCH(QPoint, scroll);
    QFETCH(QPointF, place);
    for (const auto format : {QImage::Format_Grayscale8, QImage::Format_RGB888, QImage::Format_RGB32}) {
        const QImage picture = makePicture({487, 351}, format, false);
        Shown whole;
        whole.addTile(picture, place);
        whole.show(scale, scroll);
        Shown quarters;
        addQuarters(quarters, picture, {240, 174}, place);
        quarters.show(scale, scroll);
        const int most = mostBetween(quarters.onScreen(), whole.onScreen());
        QVERIFY2(most <= 2, qPrintable(QStringLiteral("%1, format %2").arg(most).arg(format)));
    }
}

/// Tiles of quite different brightness: what lies between them is between them.
void TestTileItem::quartersWithFourColours() {
    QImage picture = makePicture({487, 351}, QImage::Format_RGB32, false);
    QPainter painter(&picture);
    painter.fillRect(0, 0, 241, 175, Qt::black);
    painter.fillRect(241, 0, 300, 175, Qt::white);
    painter.fillRect(0, 175, 241, 300, Qt::green);
    painter.end();
    Shown whole;
    whole.addTile(picture, {0.3, 0.3});
    whole.show(0.3725);
    Shown quarters;
    addQuarters(quarters, picture, {241, 175}, {0.3, 0.3});
    quarters.show(0.3725);
    QVERIFY(mostBetween(quarters.onScreen(), whole.onScreen()) <= 2);
}

void TestTileItem::oneNewPicture() {
    const QPoint cut(241, 175);
    const QImage first = makePicture({487, 351}, QImage::Format_Grayscale8, false, 1);
    const QImage second = makePicture({487, 351}, QImage::Format_Grayscale8, false, 2);
    for (const double scale : {0.3725, 0.61}) {
        Shown whole;
        auto* one = whole.addTile(first, {0.7, 0.2});
        whole.show(scale);
        Shown quarters;
        const auto tiles = addQuarters(quarters, first, cut, {0.7, 0.2});
        quarters.show(scale);
        quarters.onScreen();
        QImage now = first;
        for (TileItem* tile : tiles) {
            const QRect part(QPoint(qRound(tile->x() - 0.7), qRound(tile->y() - 0.2)), tile->pixmap().size());
            tile->setPixmap(pixmapOf(second.copy(part)));
            std::vector<int> before;
            for (const TileItem* other : tiles)
                before.push_back(other->madeCount());
            for (int y = part.top(); y <= part.bottom(); ++y)
                std::copy_n(second.constScanLine(y) + part.left(), part.width(),
                            now.scanLine(y) + part.left());
            one->setPixmap(pixmapOf(now));
            const int most = mostBetween(quarters.onScreen(), whole.onScreen());
            QVERIFY2(most <= 2, qPrintable(QString::number(most)));
            // The others are not worked out anew for their seams.
            for (size_t i = 0; i < tiles.size(); ++i)
                QCOMPARE(tiles[i]->madeCount() - before[i], tiles[i] == tile ? 1 : 0);
        }
    }
}

/// What is painted because one picture is new is what is painted at once, also of tiles beside it.
void TestTileItem::oneNewPictureOfTinyTiles() {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> any(0, 1);
    QWidget window;
    Shown shown;
    // Somewhere in a window, where its pixels need not be the device's.
    shown.view.setParent(&window);
    window.resize(500, 400);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const auto onScreen = [&] {
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        return inWindow(&window);
    };
    std::vector<TileItem*> tiles;
    for (const QSize size : {QSize(3, 4), QSize(1, 4), QSize(1, 3)}) {
        QImage picture(size, QImage::Format_RGB32);
        picture.fill(Qt::white);
        tiles.push_back(shown.addTile(picture, {}));
    }
    for (int i = 0; i < 300; ++i) {
        const double scale = i == 0 ? 0.93999 : 0.3 + 0.69 * any(random);
        const QPointF place = i == 0 ? QPointF(12.88, 24.0) : QPointF(30 * any(random), 30 * any(random));
        shown.view.move(i % 7, i % 5);
        shown.show(i % 3 == 0 ? scale : scale / shown.view.devicePixelRatioF());
        tiles[0]->setPos(place);
        const double gap = i % 4 < 2 ? 0 : 14 * any(random);
        tiles[1]->setPos(place + QPointF(3 + gap, 0));
        tiles[2]->setPos(place + (i % 2 ? QPointF(4 + gap, 0) : QPointF(0, 4 + gap)));
        shown.view.viewport()->update();
        onScreen();
        for (TileItem* tile : tiles) {
            QImage picture(tile->pixmap().size(), QImage::Format_RGB32);
            picture.fill(QRgb(random()) | 0xff000000U);
            tile->setPixmap(pixmapOf(picture));
            const QImage screen = onScreen();
            shown.view.viewport()->update();
            const QImage all = onScreen();
            QCOMPARE(screen, all);
        }
    }
}

void TestTileItem::followedPicture_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<double>("scale");
    for (const double scale : {0.3725, 1.0, 1.5}) {
        QTest::addRow("grey %g", scale) << QImage::Format_Grayscale8 << scale;
        QTest::addRow("RGB888 %g", scale) << QImage::Format_RGB888 << scale;
    }
}

/// A picture that the tile was told of row by row is on the screen when it becomes the pixmap, and only then;
/// the neighbours have their share in it.
void TestTileItem::followedPicture() {
    QFETCH(QImage::Format, format);
    QFETCH(double, scale);
    const QImage pictures[3] = {makePicture({400, 300}, format, true, 1),
                                makePicture({400, 300}, format, true, 20),
                                makePicture({400, 300}, format, true, 50)};
    Shown shown;
    TileItem* tile = shown.addTile(pictures[0], {0.4, 0.7});
    shown.addTile(pictures[2], {400.4, 0.7});
    shown.show(scale);
    Shown plain;
    TileItem* unfollowed = plain.addTile(pictures[0], {0.4, 0.7});
    plain.addTile(pictures[2], {400.4, 0.7});
    plain.show(scale);
    const QImage first = shown.onScreen();
    QCOMPARE(first, plain.onScreen());

    const auto follow = [&](const QImage& picture) {
        for (const int rows : {0, 1, 100, 299, 300})
            tile->follow(picture, rows);
    };
    // It does not become the pixmap.
    follow(pictures[1]);
    shown.view.viewport()->update();
    QCOMPARE(shown.onScreen(), first);
    // Another one does.
    follow(pictures[1]);
    tile->setPixmap(pixmapOf(pictures[2]));
    unfollowed->setPixmap(pixmapOf(pictures[2]));
    QCOMPARE(shown.onScreen(), plain.onScreen());
    // It does.
    QCOMPARE(tile->followedCount(), 0);
    follow(pictures[1]);
    tile->setPixmap(pixmapOf(pictures[1]));
    unfollowed->setPixmap(pixmapOf(pictures[1]));
    const QImage wanted = plain.onScreen();
    QVERIFY(wanted != first);
    QCOMPARE(shown.onScreen(), wanted);
    QCOMPARE(tile->followedCount(), 1);
    // Before the last one was painted another one comes, and then the view moves.
    follow(pictures[0]);
    tile->setPixmap(pixmapOf(pictures[0]));
    follow(pictures[2]);
    tile->setPixmap(pixmapOf(pictures[2]));
    unfollowed->setPixmap(pixmapOf(pictures[2]));
    QCOMPARE(shown.onScreen(), plain.onScreen());
    QCOMPARE(tile->followedCount(), 1);
    follow(pictures[1]);
    tile->setPixmap(pixmapOf(pictures[1]));
    unfollowed->setPixmap(pixmapOf(pictures[1]));
    for (Shown* each : {&shown, &plain})
        each->view.scale(0.9, 0.9);
    QCOMPARE(shown.onScreen(), plain.onScreen());
    QCOMPARE(tile->followedCount(), 1);
}

void TestTileItem::theTopmostIsSeen_data() {
    QTest::addColumn<QVector<double>>("heights");
    QTest::newRow("as they came") << QVector<double>{0, 0, 0};
    QTest::newRow("the first above") << QVector<double>{1, 0, 0};
    QTest::newRow("the other way round") << QVector<double>{3, 2, 1};
    QTest::newRow("the middle above") << QVector<double>{0, 5, 0};
}

void TestTileItem::theTopmostIsSeen() {
    QFETCH(QVector<double>, heights);
    const QVector<QRect> places{{0, 0, 300, 200}, {150, 33, 301, 251}, {77, 120, 200, 150}};
    QVector<int> order{0, 1, 2};
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return heights[a] < heights[b]; });
    QImage picture(451, 284, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    Shown tiles;
    for (int i = 0; i < 3; ++i)
        tiles.addTile(makePicture(places[i].size(), QImage::Format_RGB32, false, i), places[i].topLeft())
            ->setZValue(heights[i]);
    for (const int i : order)
        painter.drawImage(places[i], makePicture(places[i].size(), QImage::Format_RGB32, false, i));
    painter.end();
    tiles.show(0.377);
    const QImage screen = tiles.onScreen();
    const QTransform toDevice = tiles.toDevice(tiles.group->front());
    Difference difference;
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
            // The outer edges are another matter: there a part counts that no tile covers.
            const QRectF area = toDevice.inverted().mapRect(QRectF(x, y, 1, 1));
            const QRect pixels = area.toAlignedRect();
            bool isCovered = picture.rect().contains(pixels);
            for (int v = pixels.top(); isCovered && v <= pixels.bottom(); ++v) {
                for (int u = pixels.left(); u <= pixels.right(); ++u)
                    isCovered = isCovered && qAlpha(picture.pixel(u, v)) == 255;
            }
            if (isCovered)
                difference.add(colorOf(pixelOf(screen, x, y)), meanOver(picture, area));
        }
    }
    QVERIFY(difference.count > 10000);
    QVERIFY2(difference.most <= 3, qPrintable(QString::number(difference.most)));
}

/// What was painted bit by bit is what is painted at once.
void TestTileItem::tileThatIsDragged() {
    Shown shown;
    const auto tiles =
        addQuarters(shown, makePicture({487, 351}, QImage::Format_RGB888, false), {241, 175}, {});
    shown.show(0.3725);
    for (int step = 0; step < 12; ++step) {
        tiles[0]->setPos(step * 1.37, -step * 2.21);
        tiles[3]->moveBy(-0.77 * step, 0.31 * step);
        const QImage screen = shown.onScreen();
        shown.view.viewport()->update();
        QCOMPARE(screen, shown.onScreen());
    }
}

void TestTileItem::tilesThatComeAndGo() {
    const QImage picture = makePicture({487, 351}, QImage::Format_Grayscale8, false);
    Shown shown;
    auto tiles = addQuarters(shown, picture, {241, 175}, {0, 1.2});
    shown.show(0.3725);
    shown.onScreen();
    delete tiles[1];
    tiles[2]->hide();
    shown.scene.removeItem(tiles[3]);
    const std::unique_ptr<TileItem> removed(tiles[3]);
    QVERIFY(fromExact(shown.onScreen(), shown, tiles[0]).most <= 2);
    tiles[2]->show();
    Shown pair;
    pair.addTile(picture.copy(0, 0, 241, 351), {0, 1.2});
    pair.show(0.3725);
    QVERIFY(mostBetween(shown.onScreen(), pair.onScreen()) <= 2);
}

void TestTileItem::scrolled_data() {
    QTest::addColumn<double>("scale");
    for (const double scale : {0.61, 0.8, 1.0, 1.1, 2.5})
        QTest::addRow("%g", scale) << scale;
}

void TestTileItem::scrolled() {
    QFETCH(double, scale);
    Shown shown;
    addQuarters(shown, makePicture({487, 351}, QImage::Format_RGB32, false), {241, 175}, {0.3, 0.6});
    shown.show(scale);
    for (int step = 0; step < 20; ++step) {
        shown.view.horizontalScrollBar()->setValue(step * 7);
        shown.view.verticalScrollBar()->setValue(step * 3);
        const QImage screen = shown.onScreen();
        shown.view.viewport()->update();
        QCOMPARE(screen, shown.onScreen());
    }
}

void TestTileItem::grabbedIsOnScreen() {
    QWidget window;
    Shown shown;
    addQuarters(shown, makePicture({487, 351}, QImage::Format_Grayscale8, false), {241, 175}, {0.3, 0.6});
    // Somewhere in a window, as the program has it.
    shown.view.setParent(&window);
    shown.view.move(37, 53);
    shown.view.scale(0.3725, 0.3725);
    window.resize(500, 400);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCoreApplication::processEvents();
    QImage grabbed = shown.view.grab().toImage();
    grabbed.setDevicePixelRatio(1);
    const double ratio = window.devicePixelRatioF();
    const QRect part(QPoint(qRound(37 * ratio), qRound(53 * ratio)), grabbed.size());
    const QImage screen = inWindow(&window).copy(part);
    // Of device pixels that are no widget's pixels, the phase is another one.
    if (std::floor(53 * ratio) == 53 * ratio && std::floor(37 * ratio) == 37 * ratio)
        QVERIFY(mostBetween(grabbed, screen) <= 2);
    QVERIFY(qGray(grabbed.pixel(100, 100)) != qGray(grabbed.pixel(0, 0)));
}

QTEST_MAIN(TestTileItem)
#include "tst_tileitem.moc"
