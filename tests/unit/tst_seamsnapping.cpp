// SPDX-License-Identifier: Apache-2.0
#include <QElapsedTimer>
#include <QImage>
#include <QtTest>
#include <cmath>
#include <functional>
#include <random>

#include "calibration/correction.h"
#include "calibration/correctionmaps.h"
#include "measure/aim.h"
#include "measure/seamsnapping.h"

namespace {

constexpr int kTile = 90;  // px, side
const QSize kFrame(180, 165);
// Where the tiles meet, px of the plane: pixel (c, r) has its middle at (c, r).
const QPointF kMeet(kTile, kTile);

using Picture = std::function<double(double x, double y)>;

// ms, for one aim; what is not optimised takes longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__OPTIMIZE__)
constexpr double kMostTime = 150.0;
#else
constexpr double kMostTime = 15.0;
#endif

double distance(QPointF a, QPointF b) {
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

/// From -1 to 1, as lens and pixels show a step that is so many px away.
double step(double away) {
    return std::clamp(away / 1.2, -1.0, 1.0);
}

/// With sensor noise.
QImage drawn(QSize size, const Picture& grey, unsigned seed) {
    std::mt19937 random{seed};
    std::normal_distribution<double> deviation(0.0, 1.5);
    QImage picture(size, QImage::Format_Grayscale8);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            picture.scanLine(y)[x] =
                uchar(std::lround(std::clamp(grey(x, y) + deviation(random), 0.0, 255.0)));
    }
    return picture;
}

/// Four fields of a board around a place, a little turned.
Picture crossingAt(QPointF place) {
    return [place](double x, double y) {
        const double dx = x - place.x();
        const double dy = y - place.y();
        constexpr double kTurn = 0.02;
        return 120.0 - 80.0 * step(dx - kTurn * dy) * step(dy + kTurn * dx);
    };
}

/// One of two or four tiles: where it lies, and what is to be added to its points (the seam's step).
struct Cut {
    QPoint place;
    QPointF offset;
};

QVector<Cut> two(QPointF by) {
    return {{{0, 0}, {}}, {{kTile, 0}, by}};
}

QVector<Cut> four(QPointF by) {
    return {{{0, 0}, {}},
            {{kTile, 0}, by},
            {{0, kTile}, {-by.y(), by.x()}},
            {{kTile, kTile}, {-by.x(), -by.y()}}};
}

/// The tiles of a plane as a correction between pixels shows them.
QVector<TilePicture> smoothTiles(const QVector<Cut>& cuts, const Picture& plane) {
    QVector<TilePicture> tiles;
    unsigned seed = 1;
    for (const Cut& cut : cuts) {
        const QPointF zero = cut.place + cut.offset;
        TilePicture tile{cut.place,
                         drawn(
                             {kTile, kTile},
                             [&](double x, double y) { return plane(x + zero.x(), y + zero.y()); }, ++seed)};
        tile.planeOffset = cut.offset;
        tiles.append(tile);
    }
    return tiles;
}

/// The same from cameras that look a little askew, by the nearest pixel of their frames.
QVector<TilePicture> nearestTiles(const QVector<Cut>& cuts, const Picture& plane) {
    QVector<TilePicture> tiles;
    unsigned seed = 1;
    for (const Cut& cut : cuts) {
        const double a = (seed % 2 ? 2.0 : -3.0) * M_PI / 180;
        const double scale = 1.03;
        // Frame px to px of the whole corrected picture, of which the tile is a part.
        const cv::Matx33d toMiddle(1, 0, -kFrame.width() / 2.0, 0, 1, -kFrame.height() / 2.0, 0, 0, 1);
        const cv::Matx33d turn(scale * std::cos(a), -scale * std::sin(a), 0, scale * std::sin(a),
                               scale * std::cos(a), 0, 1.5e-4, -1e-4, 1);
        const cv::Matx33d transform = toMiddle.inv() * turn * toMiddle;
        const QPoint part(50, 40);
        const QPointF zero = cut.place + cut.offset - part;
        const QImage frame = drawn(
            kFrame,
            [&](double x, double y) {
                const cv::Vec3d v = transform * cv::Vec3d(x, y, 1.0);
                return plane(v[0] / v[2] + zero.x(), v[1] / v[2] + zero.y());
            },
            ++seed);
        Correction correction;
        correction.transforms[0] = cv::Mat(transform).clone();
        if (!buildCorrectionMaps(correction.transforms[0], kFrame, correction.mapX[0], correction.mapY[0]))
            qFatal("no maps");
        const QImage whole = correctedPicture(frame, correction, 0, 1, 1);
        const auto fromFrame = nearestFromFrame(correction, 0, 1, 1, kFrame, whole.size());
        if (!fromFrame)
            qFatal("not by the nearest pixel");
        TilePicture tile{cut.place, whole.copy(QRect(part, QSize(kTile, kTile)))};
        tile.fromFrame = *fromFrame * QTransform::fromTranslate(-part.x(), -part.y());
        tile.planeOffset = cut.offset;
        tiles.append(tile);
    }
    return tiles;
}

/// Where a scene point that is seen belongs in the plane, as measures have it: by the tile whose pixel it is.
QPointF inPlane(const QVector<TilePicture>& tiles, QPointF seen) {
    for (const TilePicture& tile : tiles) {
        const QPointF there = seen - tile.place;
        if (there.x() >= 0 && there.y() >= 0 && there.x() < kTile && there.y() < kTile)
            return seen + *tile.planeOffset - QPointF(0.5, 0.5);
    }
    return {-1e6, -1e6};
}

QImage brighter(const QImage& picture, double factor, double addend) {
    QImage result = picture.copy();
    for (int y = 0; y < result.height(); ++y) {
        for (int x = 0; x < result.width(); ++x) {
            uchar& pixel = result.scanLine(y)[x];
            pixel = uchar(std::lround(std::clamp(pixel * factor + addend, 0.0, 255.0)));
        }
    }
    return result;
}

}  // namespace

Q_DECLARE_METATYPE(QVector<Cut>)

/// Points on and near the seams between tiles.
class TestSeamSnapping : public QObject {
    Q_OBJECT

private slots:
    void corners_data();
    void corners();
    void unevenGrey();
    void noEdgeAlongTheSeam();
    void edgeOverTheSeam();
    void tilesThatDoNotJoin();
    void crossHairsKeepToOneTile();
    void draggedTile();
    void coveredTiles_data();
    void coveredTiles();
    void besideACover();
    void coveredSeam();
    void oneTileInReach();
    void fast();
};

void TestSeamSnapping::corners_data() {
    QTest::addColumn<QVector<Cut>>("cuts");
    QTest::addColumn<bool>("isNearest");
    for (const bool isNearest : {false, true}) {
        const auto row = [&](const char* name, const QVector<Cut>& cuts) {
            QTest::addRow("%s%s", name, isNearest ? ", nearest" : "") << cuts << isNearest;
        };
        row("two, even", two({}));
        row("two, stepped", two({0.45, -0.7}));
        row("two, stepped the other way", two({-0.8, 0.9}));
        row("four, even", four({}));
        row("four, stepped", four({0.4, -0.55}));
    }
}

void TestSeamSnapping::corners() {
    QFETCH(QVector<Cut>, cuts);
    QFETCH(bool, isNearest);
    std::mt19937 random{11};
    std::uniform_real_distribution<double> beside(-3.0, 3.0);
    double most = 0.0;
    double squares = 0.0;
    int count = 0;
    for (int away = -8; away <= 8; ++away) {
        const double y = cuts.size() == 2 ? 60.3 : kMeet.y() + (away * 5 % 9) + 0.3;
        const QPointF truth(kMeet.x() + away + 0.15, y);
        const auto tiles = (isNearest ? nearestTiles : smoothTiles)(cuts, crossingAt(truth));
        const double x = beside(random);
        const QPointF click = truth + QPointF(0.5 + x, 0.5 + beside(random));
        const Aim aim = aimAt(click, QTransform(), true, tiles, AimFor::Figure);
        QVERIFY2(aim.kind == SnapKind::Corner, qPrintable(QString::number(away)));
        QCOMPARE(aim.point, aim.seen);
        const double error = distance(inPlane(tiles, aim.point), truth);
        QVERIFY2(error < 0.5, qPrintable(QStringLiteral("%1 px: %2").arg(away).arg(error)));
        most = std::max(most, error);
        squares += error * error;
        ++count;
    }
    qInfo("%.3f px rms, %.3f at most", std::sqrt(squares / count), most);
}

// Cameras are not equally bright.
void TestSeamSnapping::unevenGrey() {
    const QPointF truth = kMeet + QPointF(1.2, -60.3);
    auto tiles = smoothTiles(two({0.3, 0.3}), crossingAt(truth));
    tiles[1].picture = brighter(tiles[1].picture, 1.15, 12);
    for (const double x : {-4.0, 0.0, 4.0}) {
        const Aim aim = aimAt(truth + QPointF(0.5 + x, 2.0), QTransform(), true, tiles, AimFor::Figure);
        QCOMPARE(aim.kind, SnapKind::Corner);
        QVERIFY(distance(inPlane(tiles, aim.point), truth) < 0.3);
    }
}

void TestSeamSnapping::noEdgeAlongTheSeam() {
    for (const int cuts : {2, 4}) {
        for (const double addend : {3.0, 20.0, 45.0, 100.0}) {
            const Picture plain = [](double x, double) { return 100.0 + 0.1 * (x - kTile); };
            auto tiles = smoothTiles(cuts == 2 ? two({0.4, 0.2}) : four({0.4, 0.2}), plain);
            tiles[1].picture = brighter(tiles[1].picture, 1.0, addend);
            for (const double x : {-6.0, -1.0, 0.0, 1.0, 6.0}) {
                const Aim aim = aimAt(QPointF(kTile + x, 60.0), QTransform(), true, tiles, AimFor::Figure);
                QVERIFY2(aim.kind == SnapKind::None,
                         qPrintable(QStringLiteral("%1 tiles, %2 grey levels").arg(cuts).arg(addend)));
            }
        }
    }
}

// An edge that leads over the seam is found on both sides, and one along it where it is one.
void TestSeamSnapping::edgeOverTheSeam() {
    const double edge = 60.4;
    const auto across =
        smoothTiles(two({0.3, 0.6}), [=](double, double y) { return 120 + 70 * step(y - edge); });
    for (const double x : {-5.0, -0.5, 0.5, 5.0}) {
        const Aim aim = aimAt(QPointF(kTile + x, edge + 3.0), QTransform(), true, across, AimFor::Figure);
        QVERIFY2(aim.kind == SnapKind::Edge, qPrintable(QString::number(x)));
        QVERIFY(std::abs(inPlane(across, aim.point).y() - edge) < 0.3);
        QVERIFY(std::abs(aim.point.x() - kTile - x) < 1.0);
    }
    for (const double beside : {-4.0, -2.0, 2.0, 4.0}) {
        const double place = kTile + beside;
        const auto along =
            smoothTiles(two({0.3, 0.6}), [=](double x, double) { return 120 + 70 * step(x - place); });
        const Aim aim = aimAt(QPointF(place + 2.0, 60.0), QTransform(), true, along, AimFor::Figure);
        QVERIFY2(aim.kind == SnapKind::Edge, qPrintable(QString::number(beside)));
        QVERIFY(std::abs(inPlane(along, aim.point).x() - place) < 0.3);
    }
}

// Neighbours that show something else: half a crossing is none, and not an edge either.
void TestSeamSnapping::tilesThatDoNotJoin() {
    for (int away = 1; away <= 3; ++away) {
        const QPointF truth = kMeet + QPointF(-away, -60.3);
        auto tiles = smoothTiles(two({}), crossingAt(truth));
        tiles[1].picture.fill(128);
        for (TilePicture& tile : tiles)
            tile.planeOffset.reset();
        const Aim aim =
            aimAt(truth + QPointF(0.5 - 1.0, 0.5 + 1.0), QTransform(), true, tiles, AimFor::Figure);
        QVERIFY2(aim.kind == SnapKind::None, qPrintable(QString::number(away)));
        QCOMPARE(aim.point, truth + QPointF(-0.5, 1.5));
    }
    // What is all there is found as ever.
    const QPointF truth = kMeet + QPointF(-12, -60.3);
    auto tiles = smoothTiles(two({}), crossingAt(truth));
    for (TilePicture& tile : tiles)
        tile.planeOffset.reset();
    const Aim aim = aimAt(truth, QTransform(), true, tiles, AimFor::Figure);
    QCOMPARE(aim.kind, SnapKind::Corner);
}

void TestSeamSnapping::crossHairsKeepToOneTile() {
    const QPointF truth = kMeet + QPointF(-2, -60.3);
    const auto tiles = smoothTiles(two({}), crossingAt(truth));
    QCOMPARE(aimAt(truth, QTransform(), true, tiles, AimFor::Figure).kind, SnapKind::Corner);
    QCOMPARE(aimAt(truth, QTransform(), true, tiles, AimFor::CrossHair).kind, SnapKind::None);
}

// What its neighbours show is no longer beside it.
void TestSeamSnapping::draggedTile() {
    const QPointF truth = kMeet + QPointF(-2, -60.3);
    auto tiles = smoothTiles(two({}), crossingAt(truth));
    tiles[1].place += QPointF(0, 40);
    *tiles[1].planeOffset -= QPointF(0, 40);
    QCOMPARE(aimAt(truth, QTransform(), true, tiles, AimFor::Figure).kind, SnapKind::None);
    tiles[0].place += QPointF(0, 40);
    *tiles[0].planeOffset -= QPointF(0, 40);
    const QPointF there = truth + QPointF(0, 40);
    const Aim aim = aimAt(there, QTransform(), true, tiles, AimFor::Figure);
    QCOMPARE(aim.kind, SnapKind::Corner);
    QVERIFY(distance(aim.point, there + QPointF(0.5, 0.5)) < 0.3);
}

void TestSeamSnapping::coveredTiles_data() {
    QTest::addColumn<bool>("isNearest");
    QTest::addColumn<bool>("isJoined");
    for (const bool isNearest : {false, true}) {
        for (const bool isJoined : {false, true})
            QTest::addRow("%s, %s", isNearest ? "nearest" : "smooth", isJoined ? "corrected" : "plain")
                << isNearest << isJoined;
    }
}

// A tile that was dragged over another one: what is on top is seen, whichever that is.
void TestSeamSnapping::coveredTiles() {
    QFETCH(bool, isNearest);
    QFETCH(bool, isJoined);
    const QPointF inFirst(70.2, 40.3);
    const QPointF inSecond(kTile + 25.4, 72.1);
    const auto drawnTiles = isNearest ? nearestTiles : smoothTiles;
    const auto first = drawnTiles(two({}), crossingAt(inFirst))[0];
    auto second = drawnTiles(two({}), crossingAt(inSecond))[1];
    const QPointF by(-40, -10);
    second.place += by;
    *second.planeOffset -= by;
    QVector<TilePicture> secondAbove{first, second};
    QVector<TilePicture> firstAbove{second, first};
    if (!isJoined) {
        for (auto* tiles : {&secondAbove, &firstAbove}) {
            for (TilePicture& tile : *tiles)
                tile.planeOffset.reset();
        }
    }
    const QPointF half(0.5, 0.5);
    for (const AimFor what : {AimFor::Figure, AimFor::CrossHair}) {
        for (const QPointF mark : {inFirst, inSecond + by}) {
            const QPointF click = mark + half + QPointF(1.6, -1.2);
            const bool isInFirst = mark == inFirst;
            const Aim seen = aimAt(click, QTransform(), true, isInFirst ? firstAbove : secondAbove, what);
            QCOMPARE(seen.kind, SnapKind::Corner);
            QVERIFY(distance(seen.seen, mark + half) < 0.5);
            // The other one has an edge there.
            const Aim hidden = aimAt(click, QTransform(), true, isInFirst ? secondAbove : firstAbove, what);
            QVERIFY(hidden.kind != SnapKind::Corner);
        }
    }
}

// What is not covered of a tile is found right up to the cover, from the cover too.
void TestSeamSnapping::besideACover() {
    const auto tiles = [](QPointF mark, QPointF coverPlace) {
        TilePicture cover{coverPlace, QImage(kTile, kTile, QImage::Format_Grayscale8)};
        cover.picture.fill(128);
        auto all = smoothTiles(two({}), crossingAt(mark)).mid(0, 1);
        all[0].planeOffset.reset();
        all.append(cover);
        return all;
    };
    const QPointF mark(40, 40);
    const QPointF half(0.5, 0.5);
    for (const QPointF way : {QPointF(1, 0), QPointF(-1, 0), QPointF(0, 1), QPointF(0, -1), QPointF(1, 1)}) {
        const auto aimWithCover = [&](double beside) {
            // The cover begins so many px from the mark, or ends there.
            const QPointF middle = mark + half + way * (beside + kTile / 2.0);
            const QPointF place = middle - QPointF(kTile / 2.0, kTile / 2.0);
            return aimAt(mark + half + way * 5, QTransform(), true, tiles(mark, place), AimFor::Figure);
        };
        const Aim near = aimWithCover(6.5);
        QCOMPARE(near.kind, SnapKind::Corner);
        QVERIFY(distance(near.seen, mark + half) < 0.3);
        QVERIFY(aimWithCover(-2.5).kind != SnapKind::Corner);
        QCOMPARE(aimWithCover(-30.5).kind, SnapKind::None);
    }
}

// Something else over two tiles that join.
void TestSeamSnapping::coveredSeam() {
    const QPointF truth = kMeet + QPointF(-2, -60.3);
    const QPointF click = truth + QPointF(1.5, -1.0);
    auto tiles = smoothTiles(two({}), crossingAt(truth));
    QCOMPARE(aimAt(click, QTransform(), true, tiles, AimFor::Figure).kind, SnapKind::Corner);
    TilePicture cover{truth - QPointF(2, 45), QImage(kTile, kTile, QImage::Format_Grayscale8)};
    cover.picture.fill(128);
    tiles.append(cover);
    QVERIFY(aimAt(click, QTransform(), true, tiles, AimFor::Figure).kind != SnapKind::Corner);
    // Also where the mouse is beside the cover.
    QVERIFY(aimAt(truth - QPointF(6, 0), QTransform(), true, tiles, AimFor::Figure).kind != SnapKind::Corner);
    // Under them it does not matter.
    std::rotate(tiles.begin(), tiles.end() - 1, tiles.end());
    QCOMPARE(aimAt(click, QTransform(), true, tiles, AimFor::Figure).kind, SnapKind::Corner);
}

void TestSeamSnapping::oneTileInReach() {
    const auto tiles = smoothTiles(two({}), crossingAt(kMeet));
    QVERIFY(!snapAcrossSeams(tiles, {60, 60}, 12));
    QVERIFY(!snapAcrossSeams(tiles.mid(0, 1), {kTile - 1, 60}, 12));
    QVERIFY(!snapAcrossSeams({}, {60, 60}, 12));
    QVERIFY(!snapAcrossSeams(tiles, {kTile, 60}, 0));
    QVERIFY(!snapAcrossSeams(tiles, {qQNaN(), 60}, 12));
    QVERIFY(!snapAcrossSeams(tiles, {1e300, 60}, 12));
    QVERIFY(snapAcrossSeams(tiles, {kTile - 20, 60}, 12));
}

// The loupe aims with every move of the mouse.
void TestSeamSnapping::fast() {
    const auto tiles = nearestTiles(four({0.4, -0.55}), crossingAt(kMeet + QPointF(1, 1)));
    const QTransform zoom = QTransform::fromScale(kSnapReach / 40, kSnapReach / 40);
    double least = HUGE_VAL;
    for (int k = 0; k < 10; ++k) {
        QElapsedTimer timer;
        timer.start();
        const Aim aim = aimAt(zoom.map(kMeet + QPointF(k, 3)), zoom, true, tiles, AimFor::Figure);
        least = std::min(least, double(timer.nsecsElapsed()) / 1e6);
        QCOMPARE(aim.kind, SnapKind::Corner);
    }
    qInfo("%.2f ms", least);
    QVERIFY(least < kMostTime);
}

QTEST_GUILESS_MAIN(TestSeamSnapping)
#include "tst_seamsnapping.moc"
