// SPDX-License-Identifier: Apache-2.0
// What the installer for Windows does, run by Wine on a desktop with a window manager. Made by
// packaging/windows/build and run by packaging/windows/test.

#include <QProcess>
#include <QSettings>

#include "support/runningbivista.h"
#include "windowspc.h"

namespace {

// What no code page of one byte has, and a blank: as people name their folders.
const QString kStation = QStringLiteral("\u68c0\u6d4b\u53f0 1");

/// Whether a shortcut has that text: it keeps them in two bytes a letter.
bool shortcutSays(const QString& path, const QString& text) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) &&
           file.readAll().contains(QByteArray(reinterpret_cast<const char*>(text.utf16()), 2 * text.size()));
}

}  // namespace

class TestWindowsInstaller : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void installs_data();
    void installs();
    void shortcutsAreChoices();
    void closesTheProgram();
    void firstSettings_data();
    void firstSettings();
    void installsForOtherCameras();
    void firewallIsTold();
    void newerVersionTakesOldFilesAway();
    void installedElsewhere();
    void installedTwiceInTwoWays();

private:
    void endInOrder(DesktopProgram& process, quint32 window);
    int install(const QStringList& options) const;
    QString userFolder() const;
    void uninstall();

    WindowsPc pc;
    bool hasGenicam = false;
};

void TestWindowsInstaller::initTestCase() {
    QVERIFY2(QFile::exists(QStringLiteral(SETUP)), SETUP " is missing: packaging/windows/build makes it");
    hasGenicam = QFile::exists(QStringLiteral(STAGE "/lib/genicam/KVCap2.dll"));
    QVERIFY2(pc.startDesktop(), qPrintable(pc.server.errorString()));
    QCOMPARE(pc.startWine(), QString());
}

void TestWindowsInstaller::endInOrder(DesktopProgram& process, quint32 window) {
    QVERIFY(pc.server.closeWindow(window));
    QVERIFY(process.waitForEnd());
    QCOMPARE(process.exitCode(), 0);
}

/// For one user, without a window; the result.
int TestWindowsInstaller::install(const QStringList& options) const {
    return pc.runToItsEnd(QStringList{SETUP, "/S", "/CurrentUser"} + options);
}

/// What Windows calls the user's folder.
QString TestWindowsInstaller::userFolder() const {
    QByteArray home;
    pc.runToItsEnd({"cmd", "/c", "echo %USERPROFILE%"}, {}, &home);
    return QString::fromLocal8Bit(home).trimmed();
}

/// What was installed for one user, and is not running.
void TestWindowsInstaller::uninstall() {
    const QDir installed(pc.unixPath(pc.registered("HKCU", "Folder")));
    QCOMPARE(pc.runToItsEnd({installed.filePath("uninstall.exe"), "/S", "/CurrentUser"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(installed.path()); }));
    QVERIFY(waitFor([&] { return pc.registered("HKCU", "Folder").isEmpty(); }));
}

void TestWindowsInstaller::installs_data() {
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("working");
    QTest::addColumn<QString>("shortcut");
    QTest::newRow("one user") << "/CurrentUser"
                              << "HKCU"
                              << "\\AppData\\Local\\Programs\\Bivista"
                              << "\\Bivista"
                              << "\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\Bivista.lnk";
    QTest::newRow("all users") << "/AllUsers"
                               << "HKLM"
                               << "C:\\Program Files\\Bivista"
                               << "C:\\ProgramData\\Bivista"
                               << "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Bivista.lnk";
}

/// Installed, started from the start menu, with the camera maker's library, installed again over it, removed.
void TestWindowsInstaller::installs() {
    QFETCH(QString, mode);
    QFETCH(QString, root);
    QFETCH(QString, program);
    QFETCH(QString, working);
    QFETCH(QString, shortcut);
    const QString home = userFolder();
    for (QString* path : {&program, &working, &shortcut})
        *path = pc.unixPath(path->startsWith('\\') ? home + *path : *path);

    QCOMPARE(pc.runToItsEnd({SETUP, "/S", mode}), 0);
    QCOMPARE(pc.unixPath(pc.registered(root, "Folder")), program);
    QCOMPARE(pc.unixPath(pc.registered(root, "WorkingFolder")), working);
    const QDir installed(program);
    const QString uninstaller = installed.filePath("uninstall.exe");
    const QDir folder(working);
    for (const char* file : {"bivista.exe", "KVCap2.dll", "simulator/KVCap2.dll", "platforms/qwindows.dll",
                             "uninstall.exe", "README.txt", "licenses/README.txt", "licenses/LGPL-3.txt"})
        QVERIFY2(installed.exists(file), file);
    for (const char* file : {"setting.ini", "kvcap2.ini", "mark0.txt", "lang/tilecam_zh_CN.qm"}) {
        QVERIFY2(folder.exists(file), file);
        QVERIFY2(!installed.exists(file), file);
    }

    // The maker's library, and things of the user's: a newer version leaves them alone.
    const QString library = installed.filePath("KVCap2.dll");
    QVERIFY(QFile::remove(library));
    QVERIFY(QFile::copy(QStringLiteral(WINDOWS_TOOLS "/recording/KVCap2.dll"), library));
    const qint64 size = QFileInfo(library).size();
    {
        QFile settings(folder.filePath("setting.ini"));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[File]\nType=2\nLang=1\nTitle=Installed\n[Pos]\nX0=0\nX1=64\nY1=0\n");
    }
    QVERIFY(QFile::remove(folder.filePath("mark0.txt")));
    QVERIFY(QFile::remove(installed.filePath("README.txt")));
    QCOMPARE(pc.runToItsEnd({SETUP, "/S", mode}), 0);
    QVERIFY(installed.exists("README.txt"));
    QCOMPARE(QFileInfo(library).size(), size);
    QVERIFY(QFileInfo(installed.filePath("simulator/KVCap2.dll")).size() != size);
    QVERIFY(!folder.exists("mark0.txt"));

    // From the start menu it works in its working folder.
    QProcessEnvironment variables = pc.environment();
    variables.insert("RECORDING_CAMERAS", "2");
    const DesktopProgram start(variables, QStringLiteral(RUN_IN_WINE), pc.wine({"start", "/unix", shortcut}),
                               pc.place.path());
    const quint32 window = pc.server.waitForWindow("Installed");
    QVERIFY2(window, qPrintable(pc.server.titles().join('\n')));
    QVERIFY(pc.server.activate(window));
    QVERIFY(waitFor([&] {
        pc.server.key("ctrl+w");
        return !QDir(working).entryList({"snapshot-*.png"}).isEmpty();
    }));
    // Not over a program that runs, and not from under it.
    QCOMPARE(pc.runToItsEnd({SETUP, "/S", mode}), 3);
    const auto isRunning = [this] { return pc.isRunning("Bivista.bivista.exe"); };
    QVERIFY(isRunning());
    // (The uninstaller works from a copy of itself and does not wait for it, unless it is told where it is:
    // by the rest of its command line, without quotes.)
    const QStringList inPlace = QString("_?=" + pc.registered(root, "Folder")).split(' ');
    QCOMPARE(pc.runToItsEnd(QStringList{uninstaller, "/S", mode} + inPlace), 3);
    QVERIFY(installed.exists("bivista.exe") && QFile::exists(shortcut));
    QVERIFY(pc.server.closeWindow(window));
    QVERIFY(waitFor([&] { return !isRunning(); }));

    QCOMPARE(pc.runToItsEnd({uninstaller, "/S", mode}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(shortcut) && !installed.exists("uninstall.exe"); }));
    // Only what the user put there is left.
    QVERIFY(waitFor([&] { return pc.registered(root, "Folder").isEmpty(); }));
    QCOMPARE(QDir(program).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"KVCap2.dll"});
    QVERIFY(folder.exists("setting.ini"));
    QVERIFY(!QDir(working).entryList({"snapshot-*.png"}).isEmpty());

    // Installed and removed without such things it leaves nothing of the program.
    QVERIFY(QFile::remove(library));
    QCOMPARE(pc.runToItsEnd({SETUP, "/S", mode}), 0);
    QVERIFY(installed.exists("KVCap2.dll"));
    QCOMPARE(pc.runToItsEnd({uninstaller, "/S", mode}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(program); }));
    QVERIFY(folder.exists("setting.ini"));
}

/// On the desktop and with Windows only where that was asked for; a newer version keeps it so.
void TestWindowsInstaller::shortcutsAreChoices() {
    const QString home = userFolder();
    const QString desktop = pc.unixPath(home + "\\Desktop\\Bivista.lnk");
    const QString startup = pc.unixPath(
        home + "\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\StartUp\\Bivista.lnk");
    for (const char* option : {"/AUTOSTART=yes", "/DESKTOP=2"})
        QCOMPARE(install({option}), 6);
    QCOMPARE(pc.registered("HKCU", "Folder"), QString());
    QCOMPARE(install({}), 0);
    QVERIFY(!QFile::exists(desktop) && !QFile::exists(startup));

    QCOMPARE(install({"/AUTOSTART", "/DESKTOP"}), 0);
    QVERIFY(QFile::exists(desktop) && QFile::exists(startup));
    // Both start in the working folder, and what starts with Windows says it too.
    const QString working = pc.registered("HKCU", "WorkingFolder");
    QVERIFY(shortcutSays(desktop, working) && !shortcutSays(desktop, "--folder"));
    QVERIFY(shortcutSays(startup, "--folder \"" + working + "\""));
    const QString program = pc.registered("HKCU", "Folder") + "\\bivista.exe";
    QCOMPARE(program.section('\\', -1), QString("bivista.exe"));
    QCOMPARE(install({}), 0);
    QVERIFY(QFile::exists(desktop) && QFile::exists(startup));

    // What somebody deleted does not come back, unless it is asked for.
    QVERIFY(QFile::remove(desktop));
    QCOMPARE(install({}), 0);
    QVERIFY(!QFile::exists(desktop) && QFile::exists(startup));
    QCOMPARE(install({"/DESKTOP=1", "/AUTOSTART=0"}), 0);
    QVERIFY(QFile::exists(desktop) && !QFile::exists(startup));
    QCOMPARE(install({"/AUTOSTART=1"}), 0);
    QVERIFY(QFile::exists(desktop) && QFile::exists(startup));

    // What Windows shows of it in its list of programs.
    const QString key = "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Bivista";
    QCOMPARE(pc.registryValue(key, "Publisher"), QString("The Bivista team"));
    QCOMPARE(pc.registryValue(key, "DisplayVersion"), QString(VERSION));
    QVERIFY(QFile::exists(pc.unixPath(pc.registryValue(key, "HelpLink"))));
    QCOMPARE(pc.registryValue(key, "InstallDate").size(), 8);
    uninstall();
    QVERIFY(!QFile::exists(desktop) && !QFile::exists(startup));
    QCOMPARE(pc.registryValue(key, "Publisher"), QString());
}

/// As its operator would, with a dialog open; only when that was said. What starts with Windows is started
/// again.
void TestWindowsInstaller::closesTheProgram() {
    QCOMPARE(install({"/AUTOSTART"}), 0);
    const QDir installed(pc.unixPath(pc.registered("HKCU", "Folder")));
    const QDir folder(pc.unixPath(pc.registered("HKCU", "WorkingFolder")));
    {
        // Whatever another test left there.
        QFile settings(folder.filePath("setting.ini"));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[File]\nLang=1\n");
    }
    DesktopProgram running(pc.environment(), QStringLiteral(RUN_IN_WINE),
                           pc.wine({installed.filePath("bivista.exe")}), folder.path());
    const quint32 window = pc.server.waitForWindow("Bivista");
    QVERIFY2(window, running.errors().constData());
    QVERIFY(pc.server.activate(window));
    QVERIFY(waitFor([&] { return running.errors().count("thread run") == 4; }));
    // Help, its only entry. A menu tells nobody outside that it is open: at the pace of a person.
    for (const char* key : {"alt+h", "Return"}) {
        QVERIFY(pc.server.key(key));
        QTest::qWait(300);
    }
    QVERIFY(waitFor([&] { return pc.server.activeWindow() != window && pc.server.activeWindow(); }));
    QCOMPARE(install({}), 3);
    QVERIFY(running.isRunning());

    QCOMPARE(install({"/CLOSE"}), 0);
    QVERIFY(running.waitForEnd());
    QCOMPARE(running.exitCode(), 0);
    const QByteArray log = running.errors();
    QVERIFY2(log.contains("Close event"), log.constData());
    QCOMPARE(log.count("exit capture"), 4);
    const quint32 again = pc.server.waitForWindow("Bivista");
    QVERIFY(again);

    // The uninstaller may be told the same.
    const QString uninstaller = installed.filePath("uninstall.exe");
    const QStringList inPlace = QString("_?=" + pc.registered("HKCU", "Folder")).split(' ');
    QCOMPARE(pc.runToItsEnd(QStringList{uninstaller, "/S", "/CurrentUser", "/CLOSE"} + inPlace), 0);
    QVERIFY(waitFor([&] { return !pc.isRunning("Bivista.bivista.exe"); }));
    QVERIFY(!installed.exists("bivista.exe"));
    QVERIFY(QFile::remove(uninstaller) && QDir().rmdir(installed.path()));

    // What nobody started with Windows is not started again.
    QCOMPARE(install({"/AUTOSTART=0"}), 0);
    DesktopProgram other(pc.environment(), QStringLiteral(RUN_IN_WINE),
                         pc.wine({installed.filePath("bivista.exe")}), folder.path());
    QVERIFY(pc.server.waitForWindow("Bivista"));
    QCOMPARE(install({"/CLOSE"}), 0);
    QVERIFY(other.waitForEnd());
    QCOMPARE(other.exitCode(), 0);
    QVERIFY(!pc.isRunning("Bivista.bivista.exe"));
    uninstall();
}

void TestWindowsInstaller::firstSettings_data() {
    QTest::addColumn<QString>("cameras");
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("language");
    QTest::newRow("simulated") << "simulated"
                               << ""
                               << "1";
    QTest::newRow("simulated, Chinese") << "simulated"
                                        << "zh_CN"
                                        << "2";
    QTest::newRow("maker") << "maker"
                           << ""
                           << "1";
    if (hasGenicam)
        QTest::newRow("genicam") << "genicam"
                                 << ""
                                 << "1";
}

/// Whatever the cameras are, the program first comes in the installer's language, and with colours. Settings
/// that are there stay as they are.
void TestWindowsInstaller::firstSettings() {
    QFETCH(QString, cameras);
    QFETCH(QString, locale);
    QFETCH(QString, language);
    const bool areSimulated = cameras == "simulated";
    const QDir folder(pc.unixPath(userFolder() + "\\Bivista"));
    QVERIFY(QDir(folder).removeRecursively());
    cameras.prepend("/CAMERAS=");
    QVERIFY(pc.setLanguage(locale));
    QCOMPARE(install({cameras}), 0);
    QVERIFY(pc.setLanguage({}));
    QCOMPARE(pc.unixPath(pc.registered("HKCU", "WorkingFolder")), folder.path());
    const QSettings settings(folder.filePath("setting.ini"), QSettings::IniFormat);
    QCOMPARE(settings.value("File/Lang").toString(), language);
    QCOMPARE(settings.value("File/Color").toString(), QString("1"));
    QCOMPARE(folder.exists("kvcap2.ini"), areSimulated);
    QCOMPARE(folder.exists("mark0.txt"), areSimulated);

    QFile file(folder.filePath("setting.ini"));
    const QByteArray own = "[File]\nLang=2\n";
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(own) == own.size());
    file.close();
    QCOMPARE(install({cameras}), 0);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), own);
    file.close();
    uninstall();
}

/// The choice of cameras: what lies beside the program, also after a newer version, and what becomes of a
/// maker's library.
void TestWindowsInstaller::installsForOtherCameras() {
    if (!hasGenicam)
        QSKIP("the package was made without the library for GenICam cameras");
    QCOMPARE(install({"/CAMERAS=telescope"}), 6);
    QCOMPARE(pc.registered("HKCU", "Folder"), QString());

    QCOMPARE(install({"/CAMERAS=genicam"}), 0);
    const QDir installed(pc.unixPath(pc.registered("HKCU", "Folder")));
    const QDir folder(pc.unixPath(pc.registered("HKCU", "WorkingFolder")));
    const auto content = [&installed](const char* name) {
        QFile file(installed.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    const QByteArray genicam = content("lib/genicam/KVCap2.dll");
    const QByteArray simulated = content("simulator/KVCap2.dll");
    QVERIFY(!genicam.isEmpty() && !simulated.isEmpty() && genicam != simulated);
    QVERIFY(content("KVCap2.dll") == genicam);
    QCOMPARE(install({}), 0);
    QVERIFY(content("KVCap2.dll") == genicam);
    QCOMPARE(install({"/CAMERAS=simulated"}), 0);
    QVERIFY(content("KVCap2.dll") == simulated);

    // A copy of ours that the user made is ours, and the choice. (Explorer keeps a file's time.)
    const QString library = installed.filePath("KVCap2.dll");
    QCOMPARE(QProcess::execute("cp", {"-p", installed.filePath("lib/genicam/KVCap2.dll"), library}), 0);
    QCOMPARE(install({}), 0);
    QVERIFY(content("KVCap2.dll") == genicam);
    QCOMPARE(pc.registered("HKCU", "Cameras"), QString("genicam"));

    // The maker's: none is put there, one that is there stays, and gives way only when that is asked for.
    QCOMPARE(install({"/CAMERAS=maker"}), 0);
    QVERIFY(!installed.exists("KVCap2.dll"));
    QCOMPARE(install({}), 0);
    QVERIFY(!installed.exists("KVCap2.dll"));
    QVERIFY(QFile::copy(QStringLiteral(WINDOWS_TOOLS "/recording/KVCap2.dll"), library));
    const QByteArray makers = content("KVCap2.dll");
    QCOMPARE(install({}), 0);
    QVERIFY(content("KVCap2.dll") == makers);
    QCOMPARE(install({"/CAMERAS=genicam"}), 0);
    QVERIFY(content("KVCap2.dll") == genicam && content("KVCap2-maker.dll") == makers);
    QCOMPARE(install({"/CAMERAS=maker"}), 0);
    QVERIFY(content("KVCap2.dll") == makers && !installed.exists("KVCap2-maker.dll"));

    // Ours goes with the program.
    QVERIFY(QFile::remove(library));
    QCOMPARE(install({"/CAMERAS=genicam"}), 0);
    QCOMPARE(pc.runToItsEnd({installed.filePath("uninstall.exe"), "/S", "/CurrentUser"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(installed.path()); }));
    QVERIFY(waitFor([&] { return pc.registered("HKCU", "Folder").isEmpty(); }));
}

/// Installed for all with cameras that send unasked, the program may receive; afterwards not any more.
void TestWindowsInstaller::firewallIsTold() {
    if (!hasGenicam)
        QSKIP("the package was made without the library for GenICam cameras");
    const QDir system(pc.prefix() + "/drive_c/windows/system32");
    const auto put = [&system](const QString& program) {
        QFile::remove(system.filePath("netsh.exe"));
        return QFile::copy(program, system.filePath("netsh.exe"));
    };
    // Of what lies in its own folder Wine takes its own instead, unless it is told.
    const QStringList nativeOne{"HKCU\\Software\\Wine\\DllOverrides", "/v", "netsh.exe", "/f"};
    QCOMPARE(pc.runToItsEnd(QStringList{"reg", "add"} + nativeOne + QStringList{"/d", "native"}), 0);
    QVERIFY(QFile::copy(system.filePath("netsh.exe"), pc.place.filePath("netsh.exe")));
    QVERIFY(put(QStringLiteral(WINDOWS_TOOLS "/bivista_record_call.exe")));
    // What it was called with since the last time.
    const auto calls = [&system] {
        QFile file(system.filePath("called.txt"));
        const QByteArray result = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        file.remove();
        return result;
    };
    const auto installForAll = [this](const QString& cameras) {
        return pc.runToItsEnd({SETUP, "/S", "/AllUsers", "/CAMERAS=" + cameras});
    };
    QCOMPARE(installForAll("simulated"), 0);
    QByteArray called = calls();
    QVERIFY2(!called.contains("add rule"), called.constData());
    QCOMPARE(installForAll("genicam"), 0);
    called = calls();
    QVERIFY2(called.contains("advfirewall firewall add rule name=Bivista dir=in action=allow "
                             "program=C:\\Program Files\\Bivista\\bivista.exe protocol=udp"),
             called.constData());
    const QDir installed(pc.unixPath(pc.registered("HKLM", "Folder")));
    QCOMPARE(pc.runToItsEnd({installed.filePath("uninstall.exe"), "/S", "/AllUsers"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(installed.path()); }));
    called = calls();
    QVERIFY2(called.contains("firewall delete rule name=Bivista program=C:\\Program Files"),
             called.constData());
    QVERIFY(!called.contains("add rule"));
    QVERIFY(put(pc.place.filePath("netsh.exe")));
    QCOMPARE(pc.runToItsEnd(QStringList{"reg", "delete"} + nativeOne), 0);
}

/// What an older version brought and this one does not have goes; what it left in the working folder stays.
void TestWindowsInstaller::newerVersionTakesOldFilesAway() {
    const QDir stage(pc.place.filePath("old"));
    QVERIFY(stage.mkpath("lang") && stage.mkpath("simulator"));
    const QStringList files{"bivista.exe",  "KVCap2.dll",          "gone.dll", "setting.ini", "mark0.txt",
                            "lang/gone.qm", "simulator/KVCap2.dll"};
    for (const QString& name : files) {
        QFile file(stage.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write("old") == 3);
    }
    QFile list(pc.place.filePath("old.nsh"));
    QVERIFY(list.open(QIODevice::WriteOnly));
    for (const char* name : {"bivista.exe", "gone.dll", "simulator\\KVCap2.dll"})
        list.write(QByteArray("Delete \"$INSTDIR\\") + name + "\"\n");
    list.close();
    const QString old = pc.place.filePath("old-setup.exe");
    QCOMPARE(QProcess::execute("makensis", {"-V1", "-INPUTCHARSET", "UTF8", "-DVERSION=0.0.1",
                                            "-DSTAGE=" + stage.path(), "-DICON=" ICON, "-DPICTURES=" PICTURES,
                                            "-DOUTPUT=" + old, "-DFILES=" + list.fileName(), INSTALLER}),
             0);
    QCOMPARE(pc.runToItsEnd({old, "/S", "/CurrentUser"}), 0);
    const QDir installed(pc.unixPath(pc.registered("HKCU", "Folder")));
    const QDir folder(pc.unixPath(pc.registered("HKCU", "WorkingFolder")));
    QVERIFY(installed.exists("gone.dll"));
    {
        QFile settings(folder.filePath("setting.ini"));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[File]\nLang=1\n");
    }

    QCOMPARE(pc.runToItsEnd({SETUP, "/S", "/CurrentUser"}), 0);
    QVERIFY(!installed.exists("gone.dll"));
    for (const char* name : {"bivista.exe", "KVCap2.dll", "simulator/KVCap2.dll", "uninstall.exe"})
        QVERIFY2(QFileInfo(installed.filePath(name)).size() > 1000, name);
    QFile settings(folder.filePath("setting.ini"));
    QVERIFY(settings.open(QIODevice::ReadOnly));
    QCOMPARE(settings.readAll(), QByteArray("[File]\nLang=1\n"));
    QCOMPARE(pc.runToItsEnd({installed.filePath("uninstall.exe"), "/S", "/CurrentUser"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(installed.path()); }));
}

/// A folder of other files is left alone, and of two installations of one kind the first one goes.
void TestWindowsInstaller::installedElsewhere() {
    const QDir others(pc.prefix() + "/drive_c/others");
    QVERIFY(others.mkpath("."));
    QFile readme(others.filePath("README.txt"));
    QVERIFY(readme.open(QIODevice::WriteOnly) && readme.write("mine") == 4);
    readme.close();
    QCOMPARE(pc.runToItsEnd({SETUP, "/S", "/CurrentUser", "/D=C:\\others"}), 5);
    QCOMPARE(others.entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"README.txt"});
    QCOMPARE(pc.registered("HKCU", "Folder"), QString());

    QCOMPARE(pc.runToItsEnd({SETUP, "/S", "/CurrentUser", "/D=C:\\first"}), 0);
    const QString first = pc.unixPath("C:\\first");
    QVERIFY(QFile::exists(first + "/bivista.exe"));
    {
        // As long as the first one runs, wherever it works, it stays whole and stays the one.
        const QString station = pc.place.filePath("station");
        QVERIFY(QDir().mkpath(station));
        DesktopProgram running(pc.environment(), QStringLiteral(RUN_IN_WINE),
                               pc.wine({first + "/bivista.exe"}), station);
        const quint32 window = pc.server.waitForWindow("Bivista");
        QVERIFY(window);
        QCOMPARE(pc.runToItsEnd({SETUP, "/S", "/CurrentUser", "/D=C:\\second"}), 3);
        QVERIFY(QFile::exists(first + "/bivista.exe") && QFile::exists(first + "/uninstall.exe"));
        QCOMPARE(pc.registered("HKCU", "Folder"), QString("C:\\first"));
        endInOrder(running, window);
    }
    QCOMPARE(pc.runToItsEnd({SETUP, "/S", "/CurrentUser", "/D=C:\\second"}), 0);
    QVERIFY(!QFile::exists(first));
    QCOMPARE(pc.registered("HKCU", "Folder"), QString("C:\\second"));
    const QString second = pc.unixPath("C:\\second");
    QCOMPARE(pc.runToItsEnd({second + "/uninstall.exe", "/S"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(second); }));
}

/// For this user in a folder of the user's choice, and for all: each uninstaller removes its own.
void TestWindowsInstaller::installedTwiceInTwoWays() {
    const QString chosen = "C:\\" + kStation;
    // The rest of the command line is the folder, without quotes.
    QCOMPARE(pc.runToItsEnd(QStringList{SETUP, "/S", "/CurrentUser"} + QString("/D=" + chosen).split(' ')),
             0);
    QCOMPARE(pc.runToItsEnd({SETUP, "/S", "/AllUsers"}), 0);
    const QDir mine(pc.unixPath(chosen));
    const QDir everybodys(pc.unixPath(pc.registered("HKLM", "Folder")));
    QVERIFY(mine.exists("bivista.exe") && everybodys.exists("bivista.exe"));
    QVERIFY(mine != everybodys);
    QCOMPARE(pc.runToItsEnd({mine.filePath("uninstall.exe"), "/S"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(mine.path()); }));
    QVERIFY(everybodys.exists("bivista.exe") && everybodys.exists("uninstall.exe"));
    QCOMPARE(pc.registered("HKCU", "Folder"), QString());
    QCOMPARE(pc.unixPath(pc.registered("HKLM", "Folder")), everybodys.path());
    QCOMPARE(pc.runToItsEnd({everybodys.filePath("uninstall.exe"), "/S"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(everybodys.path()); }));
}

QTEST_GUILESS_MAIN(TestWindowsInstaller)
#include "tst_windowsinstaller.moc"
