// SPDX-License-Identifier: Apache-2.0
// Before Qt, which takes a word that a header of GLib uses.
#include <arv.h>

#include <QtTest>

#include <cmath>
#include <limits>
#include <thread>

#include "featurenode.h"
#include "glibmessages.h"
#include "playedcamera.h"

using namespace kvgen;

namespace {

Description description() {
    return Description()
        .real("Speed", {"0", "100", "Hz"})
        .integer("Step", {"2", "12", "", "4"})
        .integer("Even", {"", "", "", "2"})
        .integer("Crossed", {"10", "1"})
        .boolean("Lamp")
        .boolean("Fixed", "RO")
        .enumeration("Colour", {"Red", "Green"})
        .command("Go");
}

QStringList lines;  // of the log

}  // namespace

/// One feature of a camera, whatever its node is; and what Aravis says besides.
class TestFeatureNode : public QObject {
    Q_OBJECT

private slots:
    void init() { camera_ = std::make_unique<PlayedCamera>(description()); }
    void cleanup() { camera_.reset(); }

    void tellsKindsApart_data() {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<int>("kind");
        const auto row = [](const char* name, FeatureNode::Kind kind) {
            QTest::newRow(name) << QByteArray(name) << static_cast<int>(kind);
        };
        row("Speed", FeatureNode::Kind::Real);
        row("Step", FeatureNode::Kind::Integer);
        row("Lamp", FeatureNode::Kind::Boolean);
        row("Colour", FeatureNode::Kind::Enumeration);
        row("Go", FeatureNode::Kind::Command);
        // A name that leads to something without a value, or nowhere.
        row("Root", FeatureNode::Kind::None);
        row("Nothing", FeatureNode::Kind::None);
    }
    /// Each can be read, written, chosen from or given as what it is, and as nothing else.
    void tellsKindsApart() {
        QFETCH(QByteArray, name);
        QFETCH(int, kind);
        const FeatureNode node = nodeOf(name);
        QCOMPARE(static_cast<int>(node.kind()), kind);
        const auto is = [&](FeatureNode::Kind one) { return kind == static_cast<int>(one); };
        const bool isValue =
            is(FeatureNode::Kind::Real) || is(FeatureNode::Kind::Integer) || is(FeatureNode::Kind::Boolean);
        QCOMPARE(node.isAvailable(), !is(FeatureNode::Kind::None));
        QCOMPARE(node.isWritable(), !is(FeatureNode::Kind::None));
        double value = 0;
        QCOMPARE(node.read(value, reason_), isValue ? Status::Ok : Status::Unsupported);
        QCOMPARE(node.write(1, reason_), isValue ? Status::Ok : Status::Unsupported);
        const bool isChoice = is(FeatureNode::Kind::Enumeration);
        QByteArray entry;
        QCOMPARE(node.hasEntry("Green"), isChoice);
        QCOMPARE(node.writeEntry("Green", reason_), isChoice ? Status::Ok : Status::Unsupported);
        QCOMPARE(node.readEntry(entry, reason_), isChoice ? Status::Ok : Status::Unsupported);
        QCOMPARE(entry, isChoice ? QByteArray("Green") : QByteArray());
        QCOMPARE(node.execute(reason_), is(FeatureNode::Kind::Command) ? Status::Ok : Status::Unsupported);
    }

    void whatIsNoNumberIsNotWritten() {
        camera_->setNumber("Speed", 7);
        for (const double value : {std::nan(""), std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity()}) {
            QCOMPARE(nodeOf("Speed").write(value, reason_), Status::BadArgument);
            QCOMPARE(nodeOf("Lamp").write(value, reason_), Status::BadArgument);
        }
        QCOMPARE(camera_->number("Speed"), 7.0);
    }

    void whatIsNoNumberIsNotRead() {
        camera_->setNumber("Speed", std::nan(""));
        double value = 7;
        QCOMPARE(nodeOf("Speed").read(value, reason_), Status::DeviceFailure);
        QCOMPARE(reason_, QByteArray("Speed is not a number"));
        QCOMPARE(value, 7.0);
    }

    void stepsCountFromTheLeast_data() {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<double>("wanted");
        QTest::addColumn<double>("has");
        QTest::addColumn<bool>("isBounded");
        QTest::newRow("a step") << QByteArray("Step") << 6.0 << 6.0 << false;
        QTest::newRow("between steps") << QByteArray("Step") << 7.5 << 6.0 << false;
        QTest::newRow("behind the last step") << QByteArray("Step") << 12.0 << 10.0 << false;
        QTest::newRow("too much") << QByteArray("Step") << 90.0 << 10.0 << true;
        QTest::newRow("too little") << QByteArray("Step") << -90.0 << 2.0 << true;
        QTest::newRow("without a least value") << QByteArray("Even") << 7.0 << 8.0 << false;
        QTest::newRow("bounds that cross are none") << QByteArray("Crossed") << 77.0 << 77.0 << false;
    }
    void stepsCountFromTheLeast() {
        QFETCH(QByteArray, name);
        QFETCH(double, wanted);
        QFETCH(bool, isBounded);
        bool is = !isBounded;
        QCOMPARE(nodeOf(name).write(wanted, reason_, &is), Status::Ok);
        QCOMPARE(is, isBounded);
        QTEST(camera_->number(name), "has");
    }

    void tellsWhoeverAsksForAnswers() {
        int answers = 0;
        const std::function<void()> answered = [&] { ++answers; };
        const FeatureNode node(device(), "Speed", &answered);
        double value = 0;
        QCOMPARE(node.read(value, reason_), Status::Ok);
        QCOMPARE(node.write(5, reason_), Status::Ok);
        QCOMPARE(answers, 2);
        QCOMPARE(node.write(std::nan(""), reason_), Status::BadArgument);
        QCOMPARE(answers, 2);
    }

    /// What Aravis says on a camera's thread, once; what the program's own threads do with GLib is theirs.
    void messagesOfOthersAreTheirs() {
        const QtMessageHandler before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& text) { lines.append(text); });
        std::thread([] {
            takeMessages(3);
            g_log("GLib", G_LOG_LEVEL_WARNING, "tells 17");
            g_log("GLib", G_LOG_LEVEL_WARNING, "tells 18");
            takeMessages(kNoCamera);
            g_log("GLib", G_LOG_LEVEL_WARNING, "tells 19");
        }).join();
        const QStringList ours = lines;
        lines.clear();
        // To the standard error, where GLib writes it.
        g_log("GLib", G_LOG_LEVEL_WARNING, "a test says this itself");
        const QStringList others = lines;
        // No domain, and the name of one of its functions: only Aravis.
        g_log(nullptr, G_LOG_LEVEL_WARNING, "arv_something: not so");
        const QStringList aravis = lines;
        qInstallMessageHandler(before);
        QCOMPARE(ours,
                 (QStringList{"KVCap2: camera 3: Aravis says: tells 17", "KVCap2: Aravis says: tells 19"}));
        QCOMPARE(others, QStringList());
        QCOMPARE(aravis, QStringList{"KVCap2: Aravis says: arv_something: not so"});
    }

private:
    ArvDevice* device() const { return arv_camera_get_device(camera_->camera()); }
    FeatureNode nodeOf(const QByteArray& name) const { return FeatureNode(device(), name); }

    std::unique_ptr<PlayedCamera> camera_;
    QByteArray reason_;
};

QTEST_GUILESS_MAIN(TestFeatureNode)
#include "tst_featurenode.moc"
