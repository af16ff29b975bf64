// SPDX-License-Identifier: Apache-2.0
#include <QLineEdit>
#include <QPushButton>
#include <functional>

#include "calibration/calibratedialog.h"
#include "camera/kvcap2.h"
#include "settings/settingsfile.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"
#include "support/smalldisk.h"

namespace {

const QSize kFrame(320, 240);
constexpr int kTriggered = 2;       // the snap mode of a camera that waits for a trigger
constexpr int kDiskSize = 2 << 20;  // bytes; several pictures
constexpr int kRetryWait = 20000;   // ms in which settings are tried again by themselves
constexpr QFile::Permissions kPermissions =
    QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::WriteGroup;

/// What happens to the disk while the program runs.
enum class Fault { Full, ReadOnly, Removed };

using Folder = QMap<QString, QByteArray>;

}  // namespace

Q_DECLARE_METATYPE(Fault)

/// The disk fails under everything that the program writes, and is well again: what was there is kept, people
/// are told, nothing half written lies about, and everything is written in the end.
class TestDiskFaults : public QObject {
    Q_OBJECT

private slots:
    void init();
    void writers_data();
    void writers();
    void settingsOfAFullDiskAreWrittenAtTheEnd();
    void everythingAtOnce();
    void settingsThatCannotBeReplaced();
    void settingsThatCannotBeReplacedAtTheEnd();

private:
    struct Writer {
        QString file;                                 ///< that is replaced; none for names made of the time
        QString note;                                 ///< how what people are told begins
        std::function<void(WindowUnderTest&)> write;  ///< one try
        std::function<bool()> isWritten;              ///< the new content is there
    };
    static Writer writer(const QString& name);
    static void start(WindowUnderTest& window, const QString& folder, const QByteArray& type);
    static void loadCorners(const WindowUnderTest& window, int shift);
    static void execute(const WindowUnderTest& window);
    static QString note(const WindowUnderTest& window) {
        const auto* label = window->findChild<QLabel*>(QStringLiteral("statusNote"));
        return label->isHidden() ? QString() : label->text();
    }
    static QString notes(const WindowUnderTest& window) {
        return window->findChild<QLabel*>(QStringLiteral("statusNote"))->toolTip();
    }
    static QByteArray corners(int shift);
    static Folder content(const QString& folder);
};

void TestDiskFaults::init() {
    recording::Camera camera;
    camera.serial = "SN0";
    camera.width = kFrame.width();
    camera.height = kFrame.height();
    camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset({camera});
    QCOMPARE(CameraSetSnapMode(0, kTriggered), 0);  // or it would be told that there are none
}

/// Everything in a folder but what fills it.
Folder TestDiskFaults::content(const QString& folder) {
    Folder found;
    const QDir dir(folder);
    for (const QString& name : dir.entryList(QDir::Files | QDir::Hidden)) {
        if (name != QLatin1String(".filler"))
            found.insert(name, WorkingFolder::read(dir.filePath(name)));
    }
    return found;
}

QByteArray TestDiskFaults::corners(int shift) {
    QByteArray lines;
    for (const QPoint point : {QPoint(40, 30), {260, 36}, {35, 200}, {270, 205}})
        lines += QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n")
                     .arg(point.x() + shift)
                     .arg(point.y())
                     .toLatin1();
    return lines;
}

void TestDiskFaults::loadCorners(const WindowUnderTest& window, int shift) {
    const QByteArray before = WorkingFolder::read(QStringLiteral("mark0.txt"));
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), corners(shift)));
    window.action("actionLoad_Corner")->trigger();
    QVERIFY(before.isEmpty() || WorkingFolder::write(QStringLiteral("mark0.txt"), before));
}

/// Triggers Execute and accepts its dialog.
void TestDiskFaults::execute(const WindowUnderTest& window) {
    QTimer answer;
    answer.callOnTimeout([&] {
        auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        dialog->findChild<QLineEdit*>(QStringLiteral("leXCount"))->setText(QStringLiteral("7"));
        dialog->findChild<QLineEdit*>(QStringLiteral("leYCount"))->setText(QStringLiteral("3"));
        dialog->findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    answer.start(10);
    window.action("actionExecute")->trigger();
}

/// The window in this folder, with old files of every kind.
void TestDiskFaults::start(WindowUnderTest& window, const QString& folder, const QByteArray& type) {
    QVERIFY(QDir::setCurrent(folder));
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=1\nType=" + type + '\n'));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 90, 0, kFrame);
    loadCorners(window, 1);
    execute(window);
    for (const char* name : {"a.bmp", "a.jpg", "a.png"})
        QVERIFY(WorkingFolder::write(QLatin1String(name), "old"));
    QCOMPARE(note(window), QString());
    QVERIFY(QFile::exists(QStringLiteral("Cal0.xml")) && QFile::exists(QStringLiteral("mark0.txt")));
    // Marks that are not in the file yet.
    loadCorners(window, 9);
    window.tiles().first()->setFlag(QGraphicsItem::ItemIsSelectable);
    window.tiles().first()->setSelected(true);
    window.answerer.boxes.clear();
}

TestDiskFaults::Writer TestDiskFaults::writer(const QString& name) {
    const auto has = [](const QString& file, const QByteArray& text) {
        return [=] { return WorkingFolder::read(file).contains(text); };
    };
    if (name == QLatin1String("settings")) {
        return {QStringLiteral("setting.ini"), QStringLiteral("Settings not written: "),
                [](auto& window) { window.action("actionReset")->trigger(); },
                [] { return WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom")) == QLatin1String("1"); }};
    }
    if (name == QLatin1String("calibration")) {
        return {QStringLiteral("Cal0.xml"), QStringLiteral("Calibration not written: "),
                [](auto& window) { execute(window); }, has(QStringLiteral("Cal0.xml"), " 49. 30. ")};
    }
    if (name == QLatin1String("marks")) {
        return {QStringLiteral("mark0.txt"), QStringLiteral("Marks not written: "),
                [](auto& window) { window.action("actionSave_Corner")->trigger(); },
                has(QStringLiteral("mark0.txt"), " 49 30")};
    }
    if (name == QLatin1String("single tile")) {
        return {QString(), QStringLiteral("Picture not written: "),
                [](auto& window) { window.action("actionSave_Single")->trigger(); },
                [] {
                    const auto files = QDir().entryList({QStringLiteral("snapshot-*")});
                    return files.size() == 1 && QImage(files.first()).size() == kFrame;
                }};
    }
    const QString file = QStringLiteral("a.") + name;
    return {file, QStringLiteral("Picture not written: "),
            [](auto& window) { window->saveScanned(QStringLiteral("a")); },
            [file] { return QImage(file).size() == kFrame; }};
}

void TestDiskFaults::writers_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<Fault>("fault");
    const QVector<QPair<const char*, const char*>> writers{
        {"settings", "2"}, {"calibration", "2"}, {"marks", "2"},      {"bmp", "0"},
        {"jpg", "1"},      {"png", "2"},         {"single tile", "1"}};
    for (const auto& [name, type] : writers) {
        for (const auto& [fault, text] :
             {std::pair(Fault::Full, "full"), std::pair(Fault::ReadOnly, "read-only"),
              std::pair(Fault::Removed, "removed")}) {
            QTest::addRow("%s, %s", name, text) << QString::fromLatin1(name) << QByteArray(type) << fault;
        }
    }
}

void TestDiskFaults::writers() {
    QFETCH(QString, name);
    QFETCH(QByteArray, type);
    QFETCH(Fault, fault);
    const Writer subject = writer(name);
    SmallDisk disk(kDiskSize);
    const QString station = disk.path() + QStringLiteral("/station");
    QVERIFY(QDir().mkdir(station));
    WindowUnderTest window;
    start(window, station, type);
    if (QTest::currentTestFailed())
        return;
    const Folder before = content(station);

    switch (fault) {
        case Fault::Full:
            disk.fill();
            break;
        case Fault::ReadOnly:
            if (!disk.setReadOnly(true))
                QSKIP(
                    "No disk can be made read-only here: nothing may be mounted, and permissions do not "
                    "count");
            break;
        case Fault::Removed:
            QVERIFY(QDir(station).removeRecursively());
            break;
    }
    for (int i = 0; i < 3; ++i)
        subject.write(window);
    // A removed folder is made anew by the settings, those of a calibration too, so that is no fault for
    // them.
    const bool isTold = fault != Fault::Removed ||
                        (name != QLatin1String("settings") && name != QLatin1String("calibration"));
    if (isTold) {
        QVERIFY2(notes(window).contains(subject.note.toHtmlEscaped()), qPrintable(notes(window)));
        QVERIFY2(!note(window).endsWith(QLatin1String(": ")), qPrintable(note(window)));
    } else {
        QCOMPARE(note(window), QString());
    }
    if (fault != Fault::Removed)
        QCOMPARE(content(station), before);

    switch (fault) {
        case Fault::Full:
            disk.makeRoom();
            break;
        case Fault::ReadOnly:
            QVERIFY(disk.setReadOnly(false));
            break;
        case Fault::Removed:
            QVERIFY(QDir().mkpath(station));
            break;
    }
    // Settings that were chosen are written without being chosen again.
    if (name != QLatin1String("settings"))
        subject.write(window);
    QTRY_COMPARE_WITH_TIMEOUT(note(window), QString(), kRetryWait);
    if (fault == Fault::Removed)
        QVERIFY(QDir::setCurrent(station));
    QVERIFY2(subject.isWritten(), WorkingFolder::read(subject.file).constData());
    const auto names = content(station).keys();
    for (const QString& file : names)
        QVERIFY2(!file.startsWith(QLatin1Char('.')) && !file.endsWith(QLatin1String(".lock")),
                 qPrintable(file));
    window.end();
    QVERIFY(QDir::setCurrent(QDir::tempPath()));
}

/// The last chance: there is room again a moment before the program ends.
void TestDiskFaults::settingsOfAFullDiskAreWrittenAtTheEnd() {
    SmallDisk disk(kDiskSize);
    WindowUnderTest window;
    start(window, disk.path(), "2");
    disk.fill();
    window.action("actionReset")->trigger();
    window.action("actionFreeze")->trigger();
    QVERIFY(note(window).startsWith(QLatin1String("Settings not written: ")));
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom")) != QLatin1String("1"));
    disk.makeRoom();
    window.end();
    QVERIFY(QDir::setCurrent(disk.path()));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom")), QStringLiteral("1"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/FreezeImage")), QStringLiteral("true"));
    QVERIFY(QDir::setCurrent(QDir::tempPath()));
}

/// A full disk for everything: one note stands for each kind, and each goes with its own success.
void TestDiskFaults::everythingAtOnce() {
    SmallDisk disk(kDiskSize);
    WindowUnderTest window;
    start(window, disk.path(), "2");
    const QStringList names{QStringLiteral("settings"), QStringLiteral("marks"),
                            QStringLiteral("calibration"), QStringLiteral("png")};
    disk.fill();
    for (const QString& name : names)
        writer(name).write(window);
    for (const QString& name : names)
        QVERIFY2(notes(window).contains(writer(name).note), qPrintable(notes(window)));
    disk.makeRoom();
    for (const QString& name : names) {
        writer(name).write(window);
        QVERIFY2(!notes(window).contains(writer(name).note), qPrintable(notes(window)));
        QVERIFY2(writer(name).isWritten(), qPrintable(name));
    }
    QCOMPARE(note(window), QString());
    window.end();
    QVERIFY(QDir::setCurrent(QDir::tempPath()));
}

/// The file and its folder can be written to, yet the new file cannot take the old one's place. QSettings
/// writes in no other way.
void TestDiskFaults::settingsThatCannotBeReplaced() {
    const WorkingFolder folder;
    const auto warning = QRegularExpression(QStringLiteral("setting\\.ini cannot be written: .+"));
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=1\nQuality=30\n"));
    QVERIFY(QFile::setPermissions(QStringLiteral("setting.ini"), kPermissions));
    SettingsFile settings(QStringLiteral("./setting.ini"));
    QSignalSpy changed(&settings, &SettingsFile::problemChanged);
    {
        const FixedFile fixed(QStringLiteral("setting.ini"));
        if (!fixed.isFixed())
            QSKIP("nothing may be mounted here");
        QTest::ignoreMessage(QtWarningMsg, warning);
        settings.write(keys::kQuality, 31);
        QVERIFY2(settings.problem().startsWith(QLatin1String("Settings not written: ")),
                 qPrintable(settings.problem()));
        QVERIFY(!settings.problem().contains(QLatin1String("unknown")));
        for (int quality = 32; quality < 35; ++quality) {
            settings.write(keys::kQuality, quality);
            QVERIFY(!settings.problem().isEmpty());
        }
        QCOMPARE(changed.count(), 1);
        QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("30"));
    }
    // By itself, as soon as it can be.
    QTRY_COMPARE_WITH_TIMEOUT(settings.problem(), QString(), kRetryWait);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("34"));
    QCOMPARE(changed.count(), 2);
    QCOMPARE(QFile::permissions(QStringLiteral("setting.ini")) & kPermissions, kPermissions);
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("setting.ini")});
    // And again: QSettings says that it failed once for as long as it lives.
    {
        const FixedFile fixed(QStringLiteral("setting.ini"));
        QTest::ignoreMessage(QtWarningMsg, warning);
        settings.write(keys::kQuality, 40);
        QVERIFY(!settings.problem().isEmpty());
    }
    settings.write(keys::kLang, 2);
    QCOMPARE(settings.problem(), QString());
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("40"));
}

void TestDiskFaults::settingsThatCannotBeReplacedAtTheEnd() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nQuality=30\n"));
    {
        SettingsFile settings(QStringLiteral("./setting.ini"));
        const FixedFile fixed(QStringLiteral("setting.ini"));
        if (!fixed.isFixed())
            QSKIP("nothing may be mounted here");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be written: .+")));
        settings.write(keys::kQuality, 31);
        settings.write(keys::kQuality, 32);
    }  // it can be replaced again a moment before the settings go
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("32"));
}

int main(int argc, char* argv[]) {
    SmallDisk::useOwnMounts();
    QApplication application(argc, argv);
    if (!SmallDisk::canMount())
        qInfo(
            "Nothing may be mounted here: disks are full for this process only, and never read-only for "
            "root");
    TestDiskFaults test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_diskfaults.moc"
