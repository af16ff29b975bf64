// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <algorithm>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "calibration/calibrationfile.h"
#include "calibration/calibrationrun.h"
#include "calibration/cropgeometry.h"
#include "support/fulldisk.h"
#include "support/workingfolder.h"

namespace {

QList<CornerPoint> corners(std::initializer_list<QPointF> points) {
    QList<CornerPoint> list;
    for (const QPointF point : points)
        list.append({point.x(), point.y(), nullptr});
    return list;
}

QVector<QPointF> pointsOf(const QList<CornerPoint>& list) {
    QVector<QPointF> points;
    for (const CornerPoint& corner : list)
        points.append({corner.x, corner.y});
    return points;
}

/// A quadrilateral as a camera sees a rectangle, its top left corner at x, y.
QList<CornerPoint> seen(double x, double y, double width, double height) {
    return corners({{x, y}, {x + width, y + 11}, {x - 9, y + height}, {x + width + 13, y + height + 7}});
}

cv::Point2d mapped(const cv::Mat& transform, cv::Point2d point) {
    const cv::Mat out = transform * (cv::Mat_<double>(3, 1) << point.x, point.y, 1.0);
    return {out.at<double>(0) / out.at<double>(2), out.at<double>(1) / out.at<double>(2)};
}

}  // namespace

/// From marked corners and grid counts to transforms and their files.
class TestCalibration : public QObject {
    Q_OBJECT

private slots:
    void cornersAreOrdered_data();
    void cornersAreOrdered();
    void tooFewCornersAreNotOrdered();
    void marksGoWithTheirCorners();
    void draggedCornersKeepTheirTile_data();
    void draggedCornersKeepTheirTile();
    void cellsAreThoseOfCameraZero();
    void cornersGoToTheirRectangle();
    void numbersAreFloats();
    void sameAsPlainOpenCv();
    void impossibleCorners_data();
    void impossibleCorners();
    void cellWithoutHeight();
    void anyConvexFigure();
    void runGivesEverythingOrAReason();
    void fileIsReadByPlainOpenCv();
    void fileComesBack();
    void keptFileComesBackByteForByte();
    void allFilesOrNone();
    void fewerTilesLeaveTheOthers();
};

void TestCalibration::cornersAreOrdered_data() {
    QTest::addColumn<QVector<int>>("placed");
    QVector<int> order{0, 1, 2, 3};
    do {
        QTest::addRow("%d%d%d%d", order[0], order[1], order[2], order[3]) << order;
    } while (std::next_permutation(order.begin(), order.end()));
}

void TestCalibration::cornersAreOrdered() {
    QFETCH(QVector<int>, placed);
    const QVector<QPointF> quad{{12, 20}, {600, 25}, {8, 400}, {620, 390}};
    const QVector<QPointF> level{{12, 20}, {600, 20}, {8, 400}, {620, 400}};  // equal y: x still decides
    for (const auto& expected : {quad, level}) {
        QList<CornerPoint> list;
        for (const int corner : placed)
            list.append({expected[corner].x(), expected[corner].y(), nullptr});
        QVERIFY(orderCorners(list));
        QCOMPARE(pointsOf(list), expected);
    }
}

void TestCalibration::tooFewCornersAreNotOrdered() {
    auto list = corners({{5, 9}, {1, 8}, {2, 7}});
    const auto before = pointsOf(list);
    QVERIFY(!orderCorners(list));
    QCOMPARE(pointsOf(list), before);
    list.clear();
    QVERIFY(!orderCorners(list));
    list = corners({{5, 9}, {1, 8}, {2, 7}, {2, std::numeric_limits<double>::quiet_NaN()}});
    QVERIFY(!orderCorners(list));
}

void TestCalibration::marksGoWithTheirCorners() {
    // Addresses that are only compared.
    char bytes[4];
    const auto mark = [&bytes](int i) { return reinterpret_cast<Mark*>(&bytes[i]); };
    QList<CornerPoint> list{{600, 390, mark(3)}, {12, 20, mark(0)}, {8, 400, mark(2)}, {620, 25, mark(1)}};
    QVERIFY(orderCorners(list));
    for (int i = 0; i < 4; ++i)
        QCOMPARE(list[i].mark, mark(i));
}

void TestCalibration::draggedCornersKeepTheirTile_data() {
    QTest::addColumn<int>("layoutMode");
    QTest::addColumn<int>("tile");
    QTest::addColumn<QPointF>("local");
    QTest::newRow("row 0") << 1 << 0 << QPointF(1000, 700);
    QTest::newRow("row 2") << 1 << 2 << QPointF(-280, 700);
    QTest::newRow("row 3, another mode") << 5 << 3 << QPointF(-920, 700);
    QTest::newRow("grid 0") << 0 << 0 << QPointF(1000, 700);
    QTest::newRow("grid 1") << 0 << 1 << QPointF(360, 700);
    QTest::newRow("grid 2") << 0 << 2 << QPointF(1000, 220);
    QTest::newRow("grid 3") << 0 << 3 << QPointF(360, 220);
}

void TestCalibration::draggedCornersKeepTheirTile() {
    QFETCH(int, layoutMode);
    QFETCH(int, tile);
    QTEST(tilePoint(tile, {1000, 700}, {640, 480}, layoutMode), "local");
}

void TestCalibration::cellsAreThoseOfCameraZero() {
    const CornerLists lists{corners({{100, 50}, {600, 50}, {100, 250}, {600, 250}}),
                            seen(80, 60, 290, 190),
                            seen(70, 40, 480, 210),
                            {}};
    const auto result = computeCalibrations(lists, {5, 3, 5, 9}, {2, 2, 2, 9}, 3);
    QCOMPARE(result.problem, QString());
    QCOMPARE(result.tiles.size(), size_t(3));
    // 100 x 100 px a cell: 300 x 200 px from its own top left corner.
    const cv::Mat expected = (cv::Mat_<float>(4, 2) << 80, 60, 380, 60, 80, 260, 380, 260);
    QCOMPARE(cv::norm(result.tiles[1].cornerDst, expected, cv::NORM_INF), 0.0);
}

void TestCalibration::cornersGoToTheirRectangle() {
    const CornerLists lists{seen(100, 50, 500, 200), seen(80, 60, 290, 190), seen(70, 40, 480, 210),
                            seen(75, 45, 480, 210)};
    const auto result = computeCalibrations(lists, {5, 3, 5, 5}, {2, 2, 2, 2}, 4);
    QCOMPARE(result.problem, QString());
    for (const Calibration& one : result.tiles) {
        QCOMPARE(one.transform.type(), CV_64FC1);
        QCOMPARE(one.cornerSrc.type(), CV_32FC1);
        QCOMPARE(one.cornerDst.type(), CV_32FC1);
        for (int corner = 0; corner < 4; ++corner) {
            const auto* src = one.cornerSrc.ptr<float>(corner);
            const auto* dst = one.cornerDst.ptr<float>(corner);
            const cv::Point2d place = mapped(one.transform, {double(src[0]), double(src[1])});
            QVERIFY(cv::norm(place - cv::Point2d(double(dst[0]), double(dst[1]))) < 1e-6);
        }
    }
}

/// Rounding to single precision at each step, so that files of different installations agree to the last bit.
void TestCalibration::numbersAreFloats() {
    CornerLists lists;
    lists[0] = corners({{100.123456789, 50.1}, {700.987654321, 55.2}, {99.3, 451.4}, {705.5, 449.987654321}});
    const auto result = computeCalibrations(lists, {7, 0, 0, 0}, {3, 0, 0, 0}, 1);
    QCOMPARE(result.problem, QString());
    const float cellW = static_cast<float>((700.987654321 - 100.123456789) / 7);
    const float cellH = static_cast<float>((449.987654321 - 50.1) / 3);
    const float x = 100.123456789F;
    const float y = 50.1F;
    const float expected[4][2] = {
        {x, y}, {x + 7 * cellW, y}, {x, y + 3 * cellH}, {x + 7 * cellW, y + 3 * cellH}};
    for (int corner = 0; corner < 4; ++corner) {
        QCOMPARE(result.tiles[0].cornerDst.at<float>(corner, 0), expected[corner][0]);
        QCOMPARE(result.tiles[0].cornerDst.at<float>(corner, 1), expected[corner][1]);
    }
}

void TestCalibration::sameAsPlainOpenCv() {
    const CornerLists lists{seen(100.25, 50.5, 500, 200), seen(80, 60, 290, 190), {}, {}};
    const auto result = computeCalibrations(lists, {5, 3, 0, 0}, {2, 2, 0, 0}, 2);
    QCOMPARE(result.problem, QString());
    for (const Calibration& one : result.tiles) {
        cv::Point2f src[4];
        cv::Point2f dst[4];
        for (int i = 0; i < 4; ++i) {
            src[i] = {one.cornerSrc.at<float>(i, 0), one.cornerSrc.at<float>(i, 1)};
            dst[i] = {one.cornerDst.at<float>(i, 0), one.cornerDst.at<float>(i, 1)};
        }
        const cv::Mat plain = cv::getPerspectiveTransform(src, dst, cv::DECOMP_LU);
        QCOMPARE(cv::norm(one.transform, plain, cv::NORM_INF), 0.0);
    }
}

void TestCalibration::impossibleCorners_data() {
    QTest::addColumn<QVector<QPointF>>("second");
    QTest::addColumn<QVector<int>>("counts");
    QTest::addColumn<QString>("problem");
    const QVector<QPointF> good{{80, 60}, {380, 65}, {75, 250}, {390, 260}};
    const QVector<int> fine{5, 3, 2, 2};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto badCorners = [&](const char* name, const QVector<QPointF>& corners, const char* problem) {
        QTest::newRow(name) << corners << fine << QString::fromLatin1(problem);
    };
    const auto badCounts = [&](const char* name, const QVector<int>& counts, const char* problem) {
        QTest::newRow(name) << good << counts << QString::fromLatin1(problem);
    };
    const char* onOneLine = "Corners of camera 1 lie on one line";
    const char* notConvex = "Corners of camera 1 make no convex figure";
    const char* notFinite = "Corners of camera 1 are not finite";
    badCorners("three corners", good.mid(1), "Camera 1 has only 3 corners");
    badCorners("no corners", {}, "Camera 1 has no corners");
    badCorners("on one line", {{10, 10}, {110, 60}, {210, 110}, {310, 160}}, onOneLine);
    badCorners("three on one line", {{10, 10}, {110, 60}, {210, 110}, {310, 10}}, onOneLine);
    badCorners("two equal", {{10, 10}, {10, 10}, {10, 110}, {310, 160}}, onOneLine);
    badCorners("concave", {{100, 100}, {300, 110}, {200, 190}, {210, 400}}, notConvex);
    badCorners("concave at the top", {{200, 150}, {210, 110}, {100, 300}, {300, 310}}, notConvex);
    badCorners("crossed", {{10, 100}, {300, 10}, {40, 200}, {20, 250}}, notConvex);
    badCorners("not a number", {{nan, 60}, {380, 65}, {75, 250}, {390, 260}}, notFinite);
    badCorners("infinite", {{80, 60}, {1e300, 65}, {75, 250}, {390, 260}}, notFinite);
    badCounts("no columns in camera 0", {0, 3, 2, 2}, "X count of camera 0 is 0");
    badCounts("no rows in camera 0", {5, 3, 0, 2}, "Y count of camera 0 is 0");
    badCounts("no columns in camera 1", {5, 0, 2, 2}, "X count of camera 1 is 0");
    badCounts("no rows in camera 1", {5, 3, 2, 0}, "Y count of camera 1 is 0");
    badCounts("nothing in camera 1", {5, 0, 2, 0}, "Counts of camera 1 are 0");
    badCounts("all zero", {0, 0, 0, 0}, "Counts of camera 0 are 0");
}

void TestCalibration::impossibleCorners() {
    QFETCH(QVector<QPointF>, second);
    QFETCH(QVector<int>, counts);
    CornerLists lists;
    lists[0] = seen(100, 50, 500, 200);
    for (const QPointF point : qAsConst(second))
        lists[1].append({point.x(), point.y(), nullptr});
    QFETCH(QString, problem);
    const auto both =
        computeCalibrations(lists, {counts[0], counts[1], 0, 0}, {counts[2], counts[3], 0, 0}, 2);
    QCOMPARE(both.problem, problem);
    QVERIFY(both.tiles.empty());
    // The first camera alone would do, unless it is its counts.
    const auto one = computeCalibrations(lists, {counts[0], 0, 0, 0}, {counts[2], 0, 0, 0}, 1);
    QCOMPARE(one.problem.isEmpty(), counts[0] != 0 && counts[2] != 0);
    QCOMPARE(one.tiles.size(), size_t(one.problem.isEmpty() ? 1 : 0));
    for (const int count : {-1, 0, 5})
        QVERIFY(!computeCalibrations(lists, {5, 3, 0, 0}, {2, 2, 0, 0}, count).problem.isEmpty());
}

/// A figure that stands on a corner can have its outer ones at one height.
void TestCalibration::cellWithoutHeight() {
    CornerLists lists;
    lists[0] = corners({{0, 10}, {100, 0}, {0, 50}, {100, 10}});
    const auto result = computeCalibrations(lists, {5, 0, 0, 0}, {2, 0, 0, 0}, 1);
    QCOMPARE(result.problem, QStringLiteral("Corners and counts of camera 0 make no rectangle"));
    // So do counts that nobody can mean.
    lists[0] = seen(100, 50, 500, 200);
    lists[1] = seen(80, 60, 290, 190);
    const int most = std::numeric_limits<int>::max();
    for (auto& list : lists[0])
        list.x *= 1e29;
    QVERIFY(!computeCalibrations(lists, {1, most, 0, 0}, {2, 2, 0, 0}, 2).problem.isEmpty());
}

/// Whatever convex figure a camera sees is taken, however far from a rectangle.
void TestCalibration::anyConvexFigure() {
    cv::RNG random(5);
    int convex = 0;
    int others = 0;
    for (int trial = 0; trial < 500; ++trial) {
        std::vector<cv::Point2f> points;
        CornerLists lists;
        for (int i = 0; i < 4; ++i) {
            points.emplace_back(float(random.uniform(0, 1000)), float(random.uniform(0, 1000)));
            lists[0].append({double(points.back().x), double(points.back().y), nullptr});
        }
        QVERIFY(orderCorners(lists[0]));
        std::vector<cv::Point2f> hull;
        cv::convexHull(points, hull);
        // In an order that goes round once: a convex figure can still be taken in a crossed one.
        const auto at = [&](int corner) {
            return cv::Point2f(float(lists[0][corner].x), float(lists[0][corner].y));
        };
        const bool isRound =
            hull.size() == 4 && cv::isContourConvex(std::vector<cv::Point2f>{
                                    at(TopLeft), at(TopRight), at(BottomRight), at(BottomLeft)});
        const auto result = computeCalibrations(lists, {5, 0, 0, 0}, {2, 0, 0, 0}, 1);
        if (result.problem.contains(QStringLiteral("line")) ||
            result.problem.contains(QStringLiteral("rectangle")))
            continue;
        QVERIFY2(result.problem.isEmpty() == isRound, qPrintable(result.problem));
        (isRound ? convex : others) += 1;
    }
    QVERIFY(convex > 50 && others > 50);
}

void TestCalibration::runGivesEverythingOrAReason() {
    CornerMarking::Refreshed refreshed;
    refreshed.corners = {seen(100.25, 50.5, 500, 200), seen(80, 60, 290, 190), {}, {}};
    const auto isNothing = [](const CalibrationRun& run) {
        return run.calibrations.empty() && run.corners[0].isEmpty() && run.correction.mapX[0].empty() &&
               run.correction.transforms[0].empty() && run.correction.dstCorners[0].isEmpty();
    };
    const CalibrationRun good = runCalibration(refreshed, {5, 3, 0, 0}, {2, 2, 0, 0}, 2, {640, 480});
    QCOMPARE(good.problem, QString());
    QCOMPARE(good.calibrations.size(), size_t(2));
    QCOMPARE(pointsOf(good.corners[1]), pointsOf(refreshed.corners[1]));
    const auto computed = computeCalibrations(refreshed.corners, {5, 3, 0, 0}, {2, 2, 0, 0}, 2);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(cv::norm(good.correction.transforms[i], computed.tiles[size_t(i)].transform, cv::NORM_INF),
                 0.0);
        QCOMPARE(good.correction.mapX[i].size(), cv::Size(640, 480));
        QCOMPARE(good.correction.mapY[i].size(), cv::Size(640, 480));
        QCOMPARE(good.correction.dstCorners[i].size(), 4);
    }
    QVERIFY(good.correction.mapX[2].empty());

    const auto fails = [&](const GridCounts& xs, int count, QSize frame, const char* problem) {
        QTest::ignoreMessage(QtWarningMsg, (QByteArray("No calibration: ") + problem).constData());
        const CalibrationRun run = runCalibration(refreshed, xs, {2, 2, 2, 2}, count, frame);
        QCOMPARE(run.problem, QString::fromLatin1(problem));
        QVERIFY(isNothing(run));
    };
    fails({5, 0, 0, 0}, 2, {640, 480}, "X count of camera 1 is 0");
    fails({5, 3, 5, 0}, 3, {640, 480}, "Camera 2 has no corners");
    for (const QSize size : {QSize(0, 0), QSize(640, -480), QSize(40000, 480), QSize(30000, 30000)})
        fails({5, 3, 0, 0}, 2, size, "Correction maps of camera 0 could not be built");
    refreshed.problem = QStringLiteral("Camera 1 has only 3 corners");
    fails({5, 3, 0, 0}, 2, {640, 480}, "Camera 1 has only 3 corners");
}

void TestCalibration::fileIsReadByPlainOpenCv() {
    const WorkingFolder folder;
    CornerLists lists;
    lists[0] = seen(100.25, 50.5, 500, 200);
    const auto result = computeCalibrations(lists, {5, 0, 0, 0}, {2, 0, 0, 0}, 1);
    QCOMPARE(result.problem, QString());
    QCOMPARE(writeCalibrations(result.tiles), QString());
    const cv::FileStorage storage("Cal0.xml", cv::FileStorage::READ);
    QVERIFY(storage.isOpened());
    std::vector<std::string> names;
    for (const auto& node : storage.root())
        names.push_back(node.name());
    QCOMPARE(names, (std::vector<std::string>{"calibrate", "corner_src", "corner_dst"}));
    cv::Mat transform;
    cv::Mat src;
    cv::Mat dst;
    storage["calibrate"] >> transform;
    storage["corner_src"] >> src;
    storage["corner_dst"] >> dst;
    QCOMPARE(transform.type(), CV_64FC1);
    QCOMPARE(src.type(), CV_32FC1);
    QCOMPARE(cv::norm(transform, result.tiles.front().transform, cv::NORM_INF), 0.0);
    QCOMPARE(cv::norm(src, result.tiles.front().cornerSrc, cv::NORM_INF), 0.0);
    QCOMPARE(cv::norm(dst, result.tiles.front().cornerDst, cv::NORM_INF), 0.0);
}

void TestCalibration::fileComesBack() {
    const WorkingFolder folder;
    CornerLists lists;
    lists[0] = seen(100.25, 50.5, 500, 200);
    const auto result = computeCalibrations(lists, {5, 0, 0, 0}, {2, 0, 0, 0}, 1);
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), "old"));
    QCOMPARE(writeCalibrations(result.tiles), QString());
    const auto read = readCalibration(QStringLiteral("Cal0.xml"));
    QVERIFY(read);
    QCOMPARE(cv::norm(read->transform, result.tiles.front().transform, cv::NORM_INF), 0.0);
    QCOMPARE(cv::norm(read->cornerSrc, result.tiles.front().cornerSrc, cv::NORM_INF), 0.0);
    QCOMPARE(cv::norm(read->cornerDst, result.tiles.front().cornerDst, cv::NORM_INF), 0.0);
    QCOMPARE(QDir().entryList(QDir::Files), QStringList{QStringLiteral("Cal0.xml")});  // nothing beside it
}

/// What a calibration file says, however its numbers are written: 0.979 is 9.79e-01.
static QStringList numbersAndWords(const QByteArray& file) {
    static const QRegularExpression between(QStringLiteral("[\\s<>]+"));
    QStringList said = QString::fromUtf8(file).split(between, Qt::SkipEmptyParts);
    for (QString& word : said) {
        bool isNumber = false;
        const double number = word.toDouble(&isNumber);
        if (isNumber)
            word = QString::number(number, 'g', 17);
    }
    return said;
}

/// A file that the program wrote on Linux, with OpenCV 4.6, in a folder whose name no one-byte code page has:
/// read and written again it says the same, and with one OpenCV it is the same file, on every system. Newer
/// ones write numbers otherwise.
void TestCalibration::keptFileComesBackByteForByte() {
    const WorkingFolder folder;
    const QString station = QStringLiteral("\u5de5\u4f4d 1 \u00e9");
    QVERIFY(QDir().mkdir(station) && QDir::setCurrent(station));
    QFile kept(QStringLiteral(TEST_DATA "/Cal0.xml"));
    QVERIFY(kept.open(QIODevice::ReadOnly));
    const QByteArray bytes = kept.readAll();
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), bytes));
    const auto read = readCalibration(QStringLiteral("Cal0.xml"));
    QVERIFY(read);
    QCOMPARE(read->cornerSrc.at<float>(0, 0), 100.25F);
    QCOMPARE(writeCalibrations({*read, *read}), QString());
    const QByteArray written = WorkingFolder::read(QStringLiteral("Cal0.xml"));
    QCOMPARE(WorkingFolder::read(QStringLiteral("Cal1.xml")), written);
    QVERIFY(numbersAndWords(bytes).size() > 9 + 8 + 8);
    QCOMPARE(numbersAndWords(written), numbersAndWords(bytes));
    if (CV_VERSION_MAJOR == 4 && CV_VERSION_MINOR == 6)
        QCOMPARE(written, bytes);
    const auto again = readCalibration(QStringLiteral("Cal0.xml"));
    QVERIFY(again);
    QCOMPARE(writeCalibrations({*again}), QString());
    QCOMPARE(WorkingFolder::read(QStringLiteral("Cal0.xml")), written);
    QVERIFY(QFile::exists(folder.path() + QLatin1Char('/') + station + QStringLiteral("/Cal1.xml")));
}

/// What there is beside the calibration files: nothing is left of a run, whatever became of it.
static QStringList allFiles() {
    return QDir().entryList(QDir::Files | QDir::Hidden);
}

void TestCalibration::allFilesOrNone() {
    const WorkingFolder folder;
    CornerLists lists{seen(100.25, 50.5, 500, 200), seen(80, 60, 290, 190), seen(70, 40, 480, 210), {}};
    const auto result = computeCalibrations(lists, {5, 3, 5, 0}, {2, 2, 2, 0}, 3);
    QCOMPARE(result.problem, QString());
    const QStringList names{QStringLiteral("Cal0.xml"), QStringLiteral("Cal1.xml"),
                            QStringLiteral("Cal2.xml")};
    for (const QString& name : names)
        QVERIFY(WorkingFolder::write(name, "old " + name.toLatin1()));
    const auto areOld = [&] {
        return std::all_of(names.begin(), names.end(), [](const QString& name) {
            return WorkingFolder::read(name) == "old " + name.toLatin1();
        });
    };
    const auto fails = [&] {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
        const QString problem = writeCalibrations(result.tiles);
        return problem.startsWith(QStringLiteral("Calibration not written: ")) && problem.size() > 26;
    };
    // A folder has the name of the last one.
    QVERIFY(QFile::remove(names[2]) && QDir().mkdir(names[2]));
    QVERIFY(fails());
    QCOMPARE(WorkingFolder::read(names[0]), QByteArray("old Cal0.xml"));
    QCOMPARE(allFiles(), names.mid(0, 2));
    QVERIFY(QDir().rmdir(names[2]) && WorkingFolder::write(names[2], "old Cal2.xml"));
    // The disk is full, sooner or later; in the end one byte is missing.
#ifdef HAS_FULL_DISK
    QVERIFY(QDir().mkdir(QStringLiteral("there")));
    QCOMPARE(writeCalibrations(result.tiles, QStringLiteral("there")), QString());
    const int length = int(QFileInfo(QStringLiteral("there/Cal0.xml")).size());
    QVERIFY(length > 100 && QDir(QStringLiteral("there")).removeRecursively());
    for (const int bytes : {0, 10, 100, length - 1}) {
        const FullDisk full{rlim_t(bytes)};
        QVERIFY(fails());
        QVERIFY(areOld());
        QCOMPARE(allFiles(), names);
    }
    // A folder that nobody can write to.
    QVERIFY(QFile::remove(names[1]) && QFile::link(QStringLiteral("/proc/version"), names[1]));
    QVERIFY(fails());
    QCOMPARE(WorkingFolder::read(names[0]), QByteArray("old Cal0.xml"));
    QCOMPARE(WorkingFolder::read(names[2]), QByteArray("old Cal2.xml"));
    QCOMPARE(allFiles(), names);
    QVERIFY(QFile::remove(names[1]) && WorkingFolder::write(names[1], "old Cal1.xml"));
#endif
    QVERIFY(areOld());
    QCOMPARE(writeCalibrations(result.tiles), QString());
    for (int i = 0; i < 3; ++i)
        QVERIFY(readCalibration(names[i]));
    QCOMPARE(allFiles(), names);
}

void TestCalibration::fewerTilesLeaveTheOthers() {
    const WorkingFolder folder;
    CornerLists lists{seen(100.25, 50.5, 500, 200), seen(80, 60, 290, 190), {}, {}};
    const auto result = computeCalibrations(lists, {5, 3, 0, 0}, {2, 2, 0, 0}, 2);
    for (int i = 0; i < 4; ++i)
        QVERIFY(WorkingFolder::write(calibrationFileName(i), "old"));
    QCOMPARE(writeCalibrations(result.tiles), QString());
    QVERIFY(readCalibration(calibrationFileName(0)) && readCalibration(calibrationFileName(1)));
    QCOMPARE(WorkingFolder::read(calibrationFileName(2)), QByteArray("old"));
    QCOMPARE(WorkingFolder::read(calibrationFileName(3)), QByteArray("old"));
    // Elsewhere than in the working folder.
    QVERIFY(QDir().mkdir(QStringLiteral("there")));
    QCOMPARE(writeCalibrations(result.tiles, QStringLiteral("there")), QString());
    QCOMPARE(WorkingFolder::read(QStringLiteral("there/Cal1.xml")),
             WorkingFolder::read(QStringLiteral("Cal1.xml")));
    QCOMPARE(recoverCalibrations(QStringLiteral("there")), QString());
}

QTEST_GUILESS_MAIN(TestCalibration)
#include "tst_calibration.moc"
