// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "pixels.h"
#include "sensormodel.h"

using namespace kvgen;

namespace {

constexpr std::array<Layout, 4> kBayer = {Layout::BayerRG, Layout::BayerGR, Layout::BayerGB, Layout::BayerBG};

/// Which of R, G, B a mosaic has at a place.
int sampleAt(Layout layout, int x, int y) {
    const char* pattern = layout == Layout::BayerRG   ? "RGGB"
                          : layout == Layout::BayerGR ? "GRBG"
                          : layout == Layout::BayerGB ? "GBRG"
                                                      : "BGGR";
    const char letter = pattern[y % 2 * 2 + x % 2];
    return letter == 'R' ? 0 : letter == 'G' ? 1 : 2;
}

/// What a camera with this mosaic makes of an RGB picture.
std::vector<uint8_t> mosaicOf(const cv::Mat& picture, Layout layout, int padding = 0) {
    std::vector<uint8_t> data;
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x)
            data.push_back(picture.at<cv::Vec3b>(y, x)[sampleAt(layout, x, y)]);
        data.insert(data.end(), static_cast<size_t>(padding), 0xEE);
    }
    return data;
}

RawFrame frameOf(const std::vector<uint8_t>& data, int width, int height, Layout layout, int padding = 0) {
    return {data.data(), data.size(), width, height, padding, layout};
}

/// Empty if the converter refuses. Its memory ends where the picture does, for the sanitizer.
cv::Mat converted(const RawFrame& frame, int channels, const Tuning& tuning = Tuning(),
                  Converter* converter = nullptr) {
    const size_t bytes =
        static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height) * static_cast<size_t>(channels);
    std::vector<uint8_t> target(bytes, 0x77);
    Converter own;
    if (!(converter ? *converter : own).convert(frame, tuning, channels, target.data()))
        return {};
    return cv::Mat(frame.height, frame.width, CV_8UC(channels), target.data()).clone();
}

/// Any bytes, the same in every run.
std::vector<uint8_t> bytes(size_t count) {
    std::vector<uint8_t> data(count);
    uint32_t state = 12345;
    for (uint8_t& byte : data) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return data;
}

double greatestDifference(const cv::Mat& a, const cv::Mat& b) {
    return cv::norm(a, b, cv::NORM_INF);
}

const char* nameOf(Layout layout) {
    switch (layout) {
        case Layout::Mono:
            return "Mono";
        case Layout::Rgb:
            return "Rgb";
        case Layout::Bgr:
            return "Bgr";
        case Layout::BayerRG:
            return "BayerRG";
        case Layout::BayerGR:
            return "BayerGR";
        case Layout::BayerGB:
            return "BayerGB";
        case Layout::BayerBG:
            return "BayerBG";
    }
    return "";
}

}  // namespace

/// How frames of GenICam cameras become frames of the operations.
class TestRawPixels : public QObject {
    Q_OBJECT

private slots:
    void knowsPixelFormats();
    void monoAsItIs();
    void coloursAsTheyAre();
    void greyFromColours();
    void mosaicOfOneColour_data();
    void mosaicOfOneColour();
    void mosaicOfTiles_data();
    void mosaicOfTiles();
    void mosaicOfAnySize();
    void mosaicOfTwoLinesKeepsItsSamples();
    void mosaicWithPadding();
    void tunesAsTheSimulator_data();
    void tunesAsTheSimulator();
    void tuningsAreAlikeInEverything();
    void theLeastBlackLevelCounts();
    void senselessNumbersChangeNothing();
    void saturationLeavesMonoAlone();
    void mirrors_data();
    void mirrors();
    void followsTheTuning();
    void refusesWhatIsTooShort();
    void needsNoPaddingBehindTheLastRow();
};

void TestRawPixels::knowsPixelFormats() {
    QVERIFY(layoutOf(0x01080001) == Layout::Mono);
    QVERIFY(layoutOf(0x02180014) == Layout::Rgb);
    QVERIFY(layoutOf(0x02180015) == Layout::Bgr);
    QVERIFY(layoutOf(0x01080008) == Layout::BayerGR);
    QVERIFY(layoutOf(0x01080009) == Layout::BayerRG);
    QVERIFY(layoutOf(0x0108000A) == Layout::BayerGB);
    QVERIFY(layoutOf(0x0108000B) == Layout::BayerBG);
    // Mono10, Mono16, BayerRG12, YUV422, nothing.
    for (const uint32_t other : {0x01100003U, 0x01100007U, 0x01100011U, 0x0210001FU, 0U, 0xFFFFFFFFU})
        QVERIFY(!layoutOf(other));
    QCOMPARE(channelsOf(Layout::Mono), 1);
    QCOMPARE(channelsOf(Layout::BayerGB), 1);
    QCOMPARE(channelsOf(Layout::Rgb), 3);
    QCOMPARE(channelsOf(Layout::Bgr), 3);
}

void TestRawPixels::monoAsItIs() {
    const auto data = bytes(20 * 7);
    // 17 px and 3 bytes that nobody sees.
    cv::Mat expected(7, 20, CV_8UC1, const_cast<uint8_t*>(data.data()));
    expected = expected.colRange(0, 17).clone();
    const RawFrame frame = frameOf(data, 17, 7, Layout::Mono, 3);
    QCOMPARE(greatestDifference(converted(frame, 1), expected), 0.0);
    cv::Mat colour;
    cv::merge(std::vector<cv::Mat>{expected, expected, expected}, colour);
    QCOMPARE(greatestDifference(converted(frame, 3), colour), 0.0);
}

void TestRawPixels::coloursAsTheyAre() {
    const auto data = bytes((3 * 9 + 5) * 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 9; ++x) {
            const auto at = static_cast<size_t>(y * (3 * 9 + 5) + 3 * x);
            const cv::Vec3b samples(data[at], data[at + 1], data[at + 2]);
            QVERIFY(converted(frameOf(data, 9, 4, Layout::Rgb, 5), 3).at<cv::Vec3b>(y, x) == samples);
            QVERIFY(converted(frameOf(data, 9, 4, Layout::Bgr, 5), 3).at<cv::Vec3b>(y, x) ==
                    cv::Vec3b(samples[2], samples[1], samples[0]));
        }
    }
}

void TestRawPixels::greyFromColours() {
    const std::vector<uint8_t> data = {200, 100, 50, 255, 0, 0, 0, 255, 0, 0, 0, 255};
    const std::array<double, 4> fromRgb = {124.2, 76.2, 149.7, 29.1};
    const std::array<double, 4> fromBgr = {96.45, 29.1, 149.7, 76.2};
    const cv::Mat rgb = converted(frameOf(data, 4, 1, Layout::Rgb), 1);
    const cv::Mat bgr = converted(frameOf(data, 4, 1, Layout::Bgr), 1);
    for (int x = 0; x < 4; ++x) {
        QVERIFY(std::abs(rgb.at<uchar>(0, x) - fromRgb[static_cast<size_t>(x)]) <= 1);
        QVERIFY(std::abs(bgr.at<uchar>(0, x) - fromBgr[static_cast<size_t>(x)]) <= 1);
    }
}

void TestRawPixels::mosaicOfOneColour_data() {
    QTest::addColumn<int>("phase");
    QTest::addColumn<int>("red");
    QTest::addColumn<int>("green");
    QTest::addColumn<int>("blue");
    for (int phase = 0; phase < 4; ++phase) {
        const QByteArray name = nameOf(kBayer[static_cast<size_t>(phase)]);
        QTest::newRow(name + " red") << phase << 255 << 0 << 0;
        QTest::newRow(name + " green") << phase << 0 << 255 << 0;
        QTest::newRow(name + " blue") << phase << 0 << 0 << 255;
        QTest::newRow(name + " brown") << phase << 180 << 110 << 40;
        QTest::newRow(name + " grey") << phase << 93 << 93 << 93;
    }
}

void TestRawPixels::mosaicOfOneColour() {
    QFETCH(int, phase);
    QFETCH(int, red);
    QFETCH(int, green);
    QFETCH(int, blue);
    const Layout layout = kBayer[static_cast<size_t>(phase)];
    const cv::Vec3b colour(static_cast<uchar>(red), static_cast<uchar>(green), static_cast<uchar>(blue));
    const double grey = 0.299 * red + 0.587 * green + 0.114 * blue;
    for (const cv::Size size : {cv::Size(16, 12), cv::Size(17, 13), cv::Size(3, 3), cv::Size(2, 2),
                                cv::Size(2, 9), cv::Size(9, 2), cv::Size(40, 3), cv::Size(64, 5)}) {
        const auto data = mosaicOf(cv::Mat(size, CV_8UC3, cv::Scalar(red, green, blue)), layout);
        const RawFrame frame = frameOf(data, size.width, size.height, layout);
        const cv::Mat picture = converted(frame, 3);
        const cv::Mat mono = converted(frame, 1);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                QVERIFY(picture.at<cv::Vec3b>(y, x) == colour);
                QVERIFY(std::abs(mono.at<uchar>(y, x) - grey) <= 1.5);
            }
        }
    }
}

void TestRawPixels::mosaicOfTiles_data() {
    QTest::addColumn<int>("phase");
    QTest::addColumn<bool>("mirrorX");
    QTest::addColumn<bool>("mirrorY");
    for (int phase = 0; phase < 4; ++phase) {
        for (int mirrors = 0; mirrors < 4; ++mirrors) {
            QTest::addRow("%s%s%s", nameOf(kBayer[static_cast<size_t>(phase)]), mirrors & 1 ? " X" : "",
                          mirrors & 2 ? " Y" : "")
                << phase << bool(mirrors & 1) << bool(mirrors & 2);
        }
    }
}

// Colours stay where they are, and theirs, also mirrored and with odd sides.
void TestRawPixels::mosaicOfTiles() {
    QFETCH(int, phase);
    QFETCH(bool, mirrorX);
    QFETCH(bool, mirrorY);
    const Layout layout = kBayer[static_cast<size_t>(phase)];
    constexpr int kTile = 8;
    const std::array<cv::Vec3b, 5> colours = {cv::Vec3b(255, 0, 0), cv::Vec3b(0, 255, 0),
                                              cv::Vec3b(0, 0, 255), cv::Vec3b(255, 255, 255),
                                              cv::Vec3b(200, 120, 0)};
    for (const cv::Size size : {cv::Size(48, 40), cv::Size(45, 37)}) {
        cv::Mat scene(size, CV_8UC3);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                scene.at<cv::Vec3b>(y, x) = colours[static_cast<size_t>((x / kTile + 2 * (y / kTile)) % 5)];
            }
        }
        Tuning tuning;
        tuning.mirrorX = mirrorX;
        tuning.mirrorY = mirrorY;
        const auto data = mosaicOf(scene, layout);
        const cv::Mat picture = converted(frameOf(data, size.width, size.height, layout), 3, tuning);
        int compared = 0;
        for (int y = 2; y < size.height - 2; ++y) {
            for (int x = 2; x < size.width - 2; ++x) {
                // Near the edge of a tile the neighbour's colour is mixed in.
                if (x % kTile < 2 || x % kTile >= kTile - 2 || y % kTile < 2 || y % kTile >= kTile - 2)
                    continue;
                const int seenX = mirrorX ? size.width - 1 - x : x;
                const int seenY = mirrorY ? size.height - 1 - y : y;
                QVERIFY(picture.at<cv::Vec3b>(seenY, seenX) == scene.at<cv::Vec3b>(y, x));
                ++compared;
            }
        }
        QVERIFY(compared > 200);
    }
}

// Every px gets a value, also in frames of 1 px: the frame is written over 0 and over 255.
void TestRawPixels::mosaicOfAnySize() {
    Converter converter;
    for (const Layout layout : kBayer) {
        for (int height = 1; height <= 7; ++height) {
            for (int width = 1; width <= 20; ++width) {
                const std::vector<uint8_t> data(static_cast<size_t>(width * height), 140);
                for (const int channels : {1, 3}) {
                    const cv::Mat picture =
                        converted(frameOf(data, width, height, layout), channels, Tuning(), &converter);
                    QCOMPARE(picture.size(), cv::Size(width, height));
                    QVERIFY(greatestDifference(
                                picture, cv::Mat(picture.size(), picture.type(), cv::Scalar::all(140))) <= 1);
                }
            }
        }
    }
}

// Each px has what its own sample says, in its place.
void TestRawPixels::mosaicOfTwoLinesKeepsItsSamples() {
    for (const Layout layout : kBayer) {
        for (const cv::Size size : {cv::Size(12, 2), cv::Size(2, 12), cv::Size(2, 2)}) {
            const auto data = bytes(static_cast<size_t>(size.area()));
            const cv::Mat picture = converted(frameOf(data, size.width, size.height, layout), 3);
            const int left = size.width > 2 ? 1 : 0;
            const int top = size.height > 2 ? 1 : 0;
            for (int y = top; y < size.height - top; ++y) {
                for (int x = left; x < size.width - left; ++x) {
                    QCOMPARE(picture.at<cv::Vec3b>(y, x)[sampleAt(layout, x, y)],
                             data[static_cast<size_t>(y * size.width + x)]);
                }
            }
        }
    }
}

void TestRawPixels::mosaicWithPadding() {
    cv::Mat scene(9, 11, CV_8UC3);
    cv::RNG(3).fill(scene, cv::RNG::UNIFORM, 0, 256);
    for (const Layout layout : kBayer) {
        const auto plain = mosaicOf(scene, layout);
        const auto padded = mosaicOf(scene, layout, 5);
        for (const int channels : {1, 3}) {
            QCOMPARE(greatestDifference(converted(frameOf(plain, 11, 9, layout), channels),
                                        converted(frameOf(padded, 11, 9, layout, 5), channels)),
                     0.0);
        }
    }
}

void TestRawPixels::tunesAsTheSimulator_data() {
    QTest::addColumn<double>("gamma");
    QTest::addColumn<double>("contrast");
    QTest::addColumn<double>("saturation");
    QTest::addColumn<int>("blackLevel");
    QTest::newRow("nothing") << 1.0 << 1.0 << 1.0 << 0;
    QTest::newRow("lifted") << 2.0 << 1.0 << 1.0 << 0;
    QTest::newRow("lowered") << 0.5 << 1.0 << 1.0 << 0;
    QTest::newRow("extreme gammas") << 0.1 << 1.0 << 1.0 << 0;
    QTest::newRow("flat") << 1.0 << 0.4 << 1.0 << 0;
    QTest::newRow("no contrast") << 1.0 << 0.0 << 1.0 << 0;
    QTest::newRow("hard") << 1.0 << 10.0 << 1.0 << 0;
    QTest::newRow("brighter") << 1.0 << 1.0 << 1.0 << 50;
    QTest::newRow("all") << 1.7 << 1.3 << 1.0 << 12;
    QTest::newRow("no colours") << 1.0 << 1.0 << 0.0 << 0;
    QTest::newRow("gaudy") << 1.0 << 1.0 << 3.0 << 0;
    QTest::newRow("all with colours") << 0.8 << 1.4 << 0.5 << 7;
}

void TestRawPixels::tunesAsTheSimulator() {
    QFETCH(double, gamma);
    QFETCH(double, contrast);
    QFETCH(double, saturation);
    QFETCH(int, blackLevel);
    Tuning tuning;
    tuning.gamma = gamma;
    tuning.contrast = contrast;
    tuning.saturation = saturation;
    tuning.blackLevel = blackLevel;
    kvsim::Look look;
    look.gamma = gamma;
    look.contrast = contrast;
    look.saturation = saturation;
    look.blackLevel = blackLevel;
    kvsim::SensorModel sensor(1);
    sensor.setLook(look);
    // Half a grey level may be rounded either way, and the colours' weights carry that on.
    const double rounding = saturation > 1 ? saturation : 1;

    std::vector<uint8_t> levels(256);
    for (size_t i = 0; i < 256; ++i)
        levels[i] = static_cast<uint8_t>(i);
    cv::Mat developed;
    sensor.develop(cv::Mat(1, 256, CV_8UC1, levels.data()), developed);
    QVERIFY(greatestDifference(converted(frameOf(levels, 256, 1, Layout::Mono), 1, tuning), developed) <= 1);

    auto colours = bytes(3 * 64 * 16);
    sensor.develop(cv::Mat(16, 64, CV_8UC3, colours.data()), developed);
    const cv::Mat rgb = converted(frameOf(colours, 64, 16, Layout::Rgb), 3, tuning);
    QVERIFY(greatestDifference(rgb, developed) <= rounding);
    cv::Mat swapped;
    cv::cvtColor(cv::Mat(16, 64, CV_8UC3, colours.data()), swapped, cv::COLOR_RGB2BGR);
    const RawFrame bgr{swapped.data, swapped.total() * 3, 64, 16, 0, Layout::Bgr};
    QCOMPARE(greatestDifference(converted(bgr, 3, tuning), rgb), 0.0);
}

void TestRawPixels::tuningsAreAlikeInEverything() {
    QVERIFY(Tuning() == Tuning());
    std::array<Tuning, 6> others;
    others[0].gamma = 1.5;
    others[1].contrast = 1.5;
    others[2].saturation = 1.5;
    others[3].blackLevel = 1;
    others[4].mirrorX = true;
    others[5].mirrorY = true;
    for (const Tuning& other : others) {
        QVERIFY(other == other);
        QVERIFY(!(other == Tuning()) && !(Tuning() == other));
    }
}

void TestRawPixels::theLeastBlackLevelCounts() {
    const auto data = bytes(5 * 4);
    Tuning tuning;
    tuning.blackLevel = 1;
    cv::Mat expected;
    cv::add(cv::Mat(4, 5, CV_8UC1, const_cast<uint8_t*>(data.data())), 1, expected);
    QCOMPARE(greatestDifference(converted(frameOf(data, 5, 4, Layout::Mono), 1, tuning), expected), 0.0);
}

void TestRawPixels::senselessNumbersChangeNothing() {
    const auto data = bytes(3 * 8 * 8);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    const cv::Mat plain = converted(frameOf(data, 8, 8, Layout::Rgb), 3);
    for (const double value : {nan, infinite, -infinite}) {
        Tuning tuning;
        tuning.gamma = tuning.contrast = tuning.saturation = value;
        QCOMPARE(greatestDifference(converted(frameOf(data, 8, 8, Layout::Rgb), 3, tuning), plain), 0.0);
    }
    for (const double gamma : {0.0, -1.0}) {
        Tuning tuning;
        tuning.gamma = gamma;
        QCOMPARE(greatestDifference(converted(frameOf(data, 8, 8, Layout::Rgb), 3, tuning), plain), 0.0);
    }
    Tuning extreme;
    extreme.contrast = 1e300;
    extreme.blackLevel = std::numeric_limits<int>::max();
    QVERIFY(!converted(frameOf(data, 8, 8, Layout::Rgb), 3, extreme).empty());
}

void TestRawPixels::saturationLeavesMonoAlone() {
    const auto data = bytes(3 * 8 * 8);
    Tuning grey;
    grey.saturation = 0;
    for (const Layout layout : {Layout::Mono, Layout::Rgb, Layout::BayerGB}) {
        const RawFrame frame = frameOf(data, 8, 8, layout);
        QCOMPARE(greatestDifference(converted(frame, 1, grey), converted(frame, 1)), 0.0);
    }
}

void TestRawPixels::mirrors_data() {
    QTest::addColumn<int>("layout");
    for (int layout = 0; layout < 7; ++layout)
        QTest::newRow(nameOf(static_cast<Layout>(layout))) << layout;
}

void TestRawPixels::mirrors() {
    QFETCH(int, layout);
    const auto data = bytes(3 * 13 * 9);
    const RawFrame frame = frameOf(data, 13, 9, static_cast<Layout>(layout));
    for (const int channels : {1, 3}) {
        const cv::Mat plain = converted(frame, channels);
        for (int which = 1; which < 4; ++which) {
            Tuning tuning;
            tuning.mirrorX = which & 1;
            tuning.mirrorY = which & 2;
            const cv::Mat mirrored = converted(frame, channels, tuning);
            const auto size = static_cast<size_t>(channels);
            for (int y = 0; y < 9; ++y) {
                for (int x = 0; x < 13; ++x) {
                    const uchar* from = plain.ptr(which & 2 ? 8 - y : y, which & 1 ? 12 - x : x);
                    QVERIFY(std::equal(from, from + size, mirrored.ptr(y, x)));
                }
            }
        }
    }
}

// What is kept from frame to frame belongs to the numbers of that frame.
void TestRawPixels::followsTheTuning() {
    Converter converter;
    const auto data = bytes(64);
    const RawFrame frame = frameOf(data, 8, 8, Layout::Mono);
    Tuning tuning;
    for (const int blackLevel : {10, 20, 0, 10}) {
        tuning.blackLevel = blackLevel;
        const cv::Mat picture = converted(frame, 1, tuning, &converter);
        for (int i = 0; i < 64; ++i) {
            QCOMPARE(int(picture.at<uchar>(i / 8, i % 8)),
                     std::min(255, data[static_cast<size_t>(i)] + blackLevel));
        }
    }
    tuning.gamma = 2;
    QCOMPARE(greatestDifference(converted(frame, 1, tuning, &converter), converted(frame, 1, tuning)), 0.0);
    tuning.contrast = 0;
    QVERIFY(greatestDifference(converted(frame, 1, tuning, &converter),
                               cv::Mat(8, 8, CV_8UC1, cv::Scalar(138))) <= 1);
}

void TestRawPixels::refusesWhatIsTooShort() {
    const auto data = bytes(3 * 8 * 8);
    std::vector<uint8_t> target(3 * 8 * 8, 0x77);
    const auto untouched = target;
    Converter converter;
    const auto refuses = [&](RawFrame frame, int channels = 3) {
        return !converter.convert(frame, Tuning(), channels, target.data()) && target == untouched;
    };
    const RawFrame whole = frameOf(data, 8, 8, Layout::Rgb);
    RawFrame frame = whole;
    frame.size = 8 * 8 * 3 - 1;
    QVERIFY(refuses(frame));
    frame = whole;
    frame.padding = 1;
    QVERIFY(refuses(frame));
    frame.padding = -1;
    QVERIFY(refuses(frame));
    for (const int side : {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        frame = whole;
        frame.width = side;
        QVERIFY(refuses(frame));
        frame.height = side;
        QVERIFY(refuses(frame));
        frame.width = 8;
        QVERIFY(refuses(frame));
    }
    frame = whole;
    frame.width = frame.height = frame.padding = std::numeric_limits<int>::max();
    QVERIFY(refuses(frame));
    frame = whole;
    frame.data = nullptr;
    QVERIFY(refuses(frame));
    for (const int channels : {0, 2, 4, -1})
        QVERIFY(refuses(whole, channels));
    QVERIFY(!converter.convert(whole, Tuning(), 3, nullptr));
    QVERIFY(converter.convert(whole, Tuning(), 3, target.data()));
}

void TestRawPixels::needsNoPaddingBehindTheLastRow() {
    const auto data = bytes(3 * 12 - 4);
    QCOMPARE(bytesOf(frameOf(data, 8, 3, Layout::Mono, 4)), uint64_t(32));
    QVERIFY(!converted(frameOf(data, 8, 3, Layout::Mono, 4), 1).empty());
    QVERIFY(!converted(frameOf(data, 8, 3, Layout::BayerRG, 4), 3).empty());
}

QTEST_GUILESS_MAIN(TestRawPixels)
#include "tst_rawpixels.moc"
