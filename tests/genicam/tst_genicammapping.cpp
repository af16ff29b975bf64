// SPDX-License-Identifier: Apache-2.0
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <cmath>
#include <limits>

#include "conversions.h"
#include "mapping.h"

using namespace kvgen;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

QByteArray contentOf(const char* name) {
    QFile file(QStringLiteral(SOURCE_FOLDER "/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList namesOf(const char* verb) {
    const QString header = QString::fromUtf8(contentOf("src/camera/kvcap2.h"));
    const QRegularExpression pattern(QStringLiteral("int32_t Camera%1(\\w+)\\(").arg(QLatin1String(verb)));
    QStringList names;
    for (auto it = pattern.globalMatch(header); it.hasNext();)
        names.append(it.next().captured(1));
    return names;
}

}  // namespace

/// The table of features, and the arithmetic between our numbers and theirs.
class TestMapping : public QObject {
    Q_OBJECT

private slots:
    void everyParameterOnceInOrder() {
        QCOMPARE(mappings().size(), kParameters);
        QSet<QByteArray> names;
        for (int i = 0; i < kParameters; ++i) {
            const Mapping& mapping = mappings()[i];
            QCOMPARE(static_cast<int>(mapping.parameter), i);
            QCOMPARE(&mappingOf(mapping.parameter), &mapping);
            QVERIFY(!mapping.remark.isEmpty());
            names.insert(mapping.name);
        }
        QCOMPARE(names.size(), kParameters);
    }

    void everyPairOfTheHeaderHasARow() {
        const QStringList ofLibrary{QStringLiteral("Timeout"), QStringLiteral("Resolution")};
        QStringList pairs;
        const QStringList getters = namesOf("Get");
        for (const QString& name : namesOf("Set")) {
            QVERIFY2(getters.contains(name), qPrintable(name));
            if (!ofLibrary.contains(name))
                pairs.append(name);
        }
        QStringList rows;
        for (const Mapping& mapping : mappings())
            rows.append(QString::fromLatin1(mapping.name));
        QCOMPARE(rows, pairs);
    }

    void thePageShowsTheTable() {
        const QByteArray page = contentOf("docs/genicam.md");
        const QByteArray begin = "<!-- mapping: begin -->\n";
        const QByteArray end = "<!-- mapping: end -->";
        QCOMPARE(page.count(begin), 1);
        QCOMPARE(page.count(end), 1);
        const int from = page.indexOf(begin) + begin.size();
        const QByteArray table = page.mid(from, page.indexOf(end) - from);
        if (table.trimmed() != mappingsAsMarkdown().trimmed())
            QFAIL("docs/genicam.md has another table than:\n" + mappingsAsMarkdown());
    }

    void thereAndBack_data() {
        QTest::addColumn<int>("parameter");
        QTest::addColumn<int>("conversion");
        QTest::addColumn<double>("factor");
        QTest::addColumn<double>("low");
        QTest::addColumn<double>("high");
        const auto row = [](const char* name, Parameter parameter, Conversion conversion, double factor,
                            double low, double high) {
            QTest::newRow(name) << static_cast<int>(parameter) << static_cast<int>(conversion) << factor
                                << low << high;
        };
        row("gain in dB", Parameter::Gain, Conversion::GainFactor, 1, 1, 1023);
        row("gain as it is", Parameter::Gain, Conversion::Same, 1, 0, 1023);
        row("digital gain", Parameter::AdvancedGain, Conversion::GainDoublings, 1, 0, 3);
        row("exposure", Parameter::Exposure, Conversion::ExposureUnits, 10, 1, 80000);
        row("exposure in s", Parameter::Exposure, Conversion::ExposureUnits, 1e-5, 1, 80000);
        row("black level", Parameter::BlackLevel, Conversion::GreyLevels, 1, 0, 255);
        row("black level in %", Parameter::BlackLevel, Conversion::GreyLevels, 100.0 / 255, 0, 255);
        row("target of 1", Parameter::AeTarget, Conversion::OfFullScale, 1.0 / 255, 0, 255);
        row("target of 100 %", Parameter::AeTarget, Conversion::OfFullScale, 100.0 / 255, 0, 255);
        row("target of 4095", Parameter::AeTarget, Conversion::OfFullScale, 4095.0 / 255, 0, 255);
    }
    void thereAndBack() {
        QFETCH(int, parameter);
        QFETCH(int, conversion);
        QFETCH(double, factor);
        QFETCH(double, low);
        QFETCH(double, high);
        const auto how = static_cast<Conversion>(conversion);
        double before = -kInfinity;
        for (double value = low; value <= high; ++value) {
            const double feature = toFeature(how, value, factor);
            QVERIFY(feature > before);
            before = feature;
            QCOMPARE(accepted(static_cast<Parameter>(parameter), fromFeature(how, feature, factor)), value);
        }
    }

    void gammaThereAndBack() {
        for (int i = 10; i <= 1000; ++i) {
            const double feature = toFeature(Conversion::Reciprocal, i / 100.0, 1);
            QVERIFY(std::abs(feature * i / 100.0 - 1) < 1e-9);
            QVERIFY(std::abs(fromFeature(Conversion::Reciprocal, feature, 1) - i / 100.0) < 1e-9);
        }
    }

    void knownNumbers() {
        QCOMPARE(toFeature(Conversion::GainFactor, 16, 1), 0.0);
        QVERIFY(std::abs(toFeature(Conversion::GainFactor, 32, 1) - 6.0206) < 1e-4);
        // 0 acts like 1.
        QCOMPARE(toFeature(Conversion::GainFactor, 0, 1), toFeature(Conversion::GainFactor, 1, 1));
        QVERIFY(std::abs(toFeature(Conversion::GainDoublings, 3, 1) - 18.0618) < 1e-4);
        QCOMPARE(toFeature(Conversion::ExposureUnits, 1000, 10), 10000.0);
        // Our gamma 2 lifts the middle tones: the feature's is the exponent.
        QCOMPARE(toFeature(Conversion::Reciprocal, 2, 1), 0.5);
    }

    void nonsenseStaysFinite() {
        for (int i = 0; i <= static_cast<int>(Conversion::MainsPulses); ++i) {
            for (const double value : {0.0, -1.0, 1e308, -1e308, 2147483648.0}) {
                for (const double factor : {1.0, 0.0, 1e-6, 1e-300, 1e300}) {
                    const auto how = static_cast<Conversion>(i);
                    QVERIFY2(std::isfinite(toFeature(how, value, factor)), QByteArray::number(i));
                    QVERIFY2(std::isfinite(fromFeature(how, value, factor)), QByteArray::number(i));
                }
            }
        }
    }

    void fullScales() {
        QCOMPARE(fullScaleOf(1, ""), 1.0);
        QCOMPARE(fullScaleOf(0.8, ""), 1.0);
        QCOMPARE(fullScaleOf(100, "%"), 100.0);
        QCOMPARE(fullScaleOf(80, " % "), 100.0);
        QCOMPARE(fullScaleOf(100, ""), 100.0);
        QCOMPARE(fullScaleOf(205, ""), 255.0);
        QCOMPARE(fullScaleOf(255, ""), 255.0);
        QCOMPARE(fullScaleOf(256, ""), 511.0);
        QCOMPARE(fullScaleOf(3280, ""), 4095.0);
        QCOMPARE(fullScaleOf(65535, ""), 65535.0);
        // Nothing that says anything.
        QCOMPARE(fullScaleOf(0, ""), 255.0);
        QCOMPARE(fullScaleOf(-5, ""), 255.0);
        QCOMPARE(fullScaleOf(std::numeric_limits<double>::max(), ""), 255.0);
        QCOMPARE(fullScaleOf(std::nan(""), ""), 255.0);
    }

    void unitsOfTime() {
        QCOMPARE(ticksPerMicrosecond("us"), 1.0);
        QCOMPARE(ticksPerMicrosecond(""), 1.0);
        QCOMPARE(ticksPerMicrosecond("ms"), 1e-3);
        QCOMPARE(ticksPerMicrosecond("s"), 1e-6);
        QCOMPARE(ticksPerMicrosecond("ns"), 1e3);
    }

    void ratesThereAndBack() {
        for (int delay = 0; delay <= 60000; delay += 7) {
            const double rate = delayedRate(14.9, delay);
            QVERIFY(std::abs(1 / rate - 1 / 14.9 - delay / 1000.0) < 1e-9);
            QCOMPARE(static_cast<int>(std::round(delayOf(rate, 14.9))), delay);
        }
        // A camera that runs faster than it should has no delay; none without a rate.
        QCOMPARE(delayOf(20, 15), 0.0);
        QCOMPARE(delayOf(0, 15), 0.0);
        QCOMPARE(delayedRate(0, 100), 0.0);
        QCOMPARE(delayedRate(10, -5), 10.0);
    }

    void ratesThatNoCameraHas() {
        constexpr double kGreatest = std::numeric_limits<double>::max();
        constexpr double kLeast = std::numeric_limits<double>::denorm_min();
        for (const double rate : {kLeast, 1e-320, 1e-300, 1.0, 1e300, kGreatest}) {
            for (const double other : {kLeast, 1e-320, 1e-300, 1.0, 1e300, kGreatest, -1.0, -kGreatest}) {
                QVERIFY(std::isfinite(delayOf(rate, other)) && delayOf(rate, other) >= 0);
                QVERIFY(delayedRate(rate, other) <= rate && delayedRate(rate, other) >= 0);
            }
        }
        // None at all: nothing between two frames that never come.
        QCOMPARE(delayOf(kLeast, kLeast), 0.0);
    }

    void pulses() {
        QCOMPARE(inPulses(12345, 0, 1e6), 12345.0);
        QCOMPARE(inPulses(12345, 1, 1e6), 10000.0);
        QCOMPARE(inPulses(15001, 1, 1e6), 20000.0);
        QCOMPARE(inPulses(100, 1, 1e6), 10000.0);
        QVERIFY(std::abs(inPulses(16000, 2, 1e6) - 2e6 / 120) < 1e-6);
        QVERIFY(std::abs(inPulses(1, 2, 1e6) - 1e6 / 120) < 1e-6);
        // As many whole pulses as the camera can expose.
        QCOMPARE(inPulses(800000, 1, 39999), 30000.0);
        QCOMPARE(inPulses(800000, 1, 5000), 10000.0);
    }

    void whatIsAccepted() {
        QCOMPARE(accepted(Parameter::Gamma, 0.57), 0.57);
        QCOMPARE(accepted(Parameter::Gamma, -1), 0.1);
        QCOMPARE(accepted(Parameter::Gamma, kInfinity), 10.0);
        QCOMPARE(accepted(Parameter::Contrast, -kInfinity), 0.0);
        QCOMPARE(accepted(Parameter::BlackLevel, 256), 255.0);
        QCOMPARE(accepted(Parameter::Gain, 16.4), 16.0);
        QCOMPARE(accepted(Parameter::Gain, -2147483648.0), 0.0);
        QCOMPARE(accepted(Parameter::Gain, 2147483647.0), 65535.0);
        QCOMPARE(accepted(Parameter::AdvancedGain, 4), 3.0);
        QCOMPARE(accepted(Parameter::Exposure, 0), 1.0);
        QCOMPARE(accepted(Parameter::Exposure, 1e300), 2147483647.0);
        QCOMPARE(accepted(Parameter::Delay, 2147483647), 60000.0);
        QCOMPARE(accepted(Parameter::MirrorX, 7), 1.0);
        QCOMPARE(accepted(Parameter::SnapMode, 2), 2.0);
        for (const double mode : {0.0, 3.0, 1.5, -1.0, kInfinity})
            QVERIFY(!accepted(Parameter::SnapMode, mode));
        QCOMPARE(accepted(Parameter::AntiFlicker, 0), 0.0);
        for (const double mode : {3.0, -1.0, 0.5})
            QVERIFY(!accepted(Parameter::AntiFlicker, mode));
        for (const Mapping& mapping : mappings())
            QVERIFY(!accepted(mapping.parameter, std::nan("")));
    }

    void kindsOfTheHeader() {
        const QByteArray header = contentOf("src/camera/kvcap2.h");
        for (const Mapping& mapping : mappings()) {
            const QByteArray setter = "CameraSet" + mapping.name + "(int32_t index, ";
            const QByteArray type = isSwitch(mapping.parameter) ? "bool"
                                    : isReal(mapping.parameter) ? "double"
                                                                : "int32_t";
            QVERIFY2(header.contains(setter + type), mapping.name);
        }
    }
};

QTEST_GUILESS_MAIN(TestMapping)
#include "tst_genicammapping.moc"
