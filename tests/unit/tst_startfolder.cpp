// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "app/startfolder.h"
#include "support/workingfolder.h"

/// Which folder becomes the working folder.
class TestStartFolder : public QObject {
    Q_OBJECT

private slots:
    void registeredOne_data();
    void registeredOne();
    void sameFolder();
    void givenOne();
    void givenOneThatCannotBeEntered_data();
    void givenOneThatCannotBeEntered();
    void currentOne();
    void registeredOneIsEntered();
    void registeredOneThatCannotBeEntered();
};

void TestStartFolder::registeredOne_data() {
    QTest::addColumn<QString>("program");  // all of them sub-folders, and so is what is taken
    QTest::addColumn<QString>("current");
    QTest::addColumn<QStringList>("registered");  // program and working folder by turns
    QTest::addColumn<QString>("taken");
    const QStringList one{"installed", "working"};
    const QStringList two{"users", "users-working", "installed", "working"};
    QTest::newRow("by a double click there") << "installed"
                                             << "installed" << one << "working";
    QTest::newRow("by the system") << "installed"
                                   << "system" << one << "working";
    QTest::newRow("by its start-menu entry") << "installed"
                                             << "working" << one << "";
    QTest::newRow("in a folder of somebody's choice") << "installed"
                                                      << "elsewhere" << one << "";
    QTest::newRow("its folder by a link") << "installed"
                                          << "link" << one << "working";
    QTest::newRow("registered by a link") << "installed"
                                          << "installed" << QStringList{"link", "working"} << "working";
    QTest::newRow("unpacked beside it") << "unpacked"
                                        << "unpacked" << one << "";
    QTest::newRow("unpacked, by the system") << "unpacked"
                                             << "system" << one << "";
    QTest::newRow("unpacked, started in the installed one's folder") << "unpacked"
                                                                     << "installed" << one << "";
    QTest::newRow("of all users, beside a user's") << "installed"
                                                   << "installed" << two << "working";
    QTest::newRow("a user's, beside that of all") << "users"
                                                  << "users" << two << "users-working";
    QTest::newRow("the first counts")
        << "installed"
        << "installed" << QStringList{"installed", "first", "installed", "second"} << "first";
    QTest::newRow("none registered") << "installed"
                                     << "installed" << QStringList{} << "";
    QTest::newRow("registered and gone") << "installed"
                                         << "installed" << QStringList{"gone", "working"} << "";
}

void TestStartFolder::registeredOne() {
    QFETCH(QString, program);
    QFETCH(QString, current);
    QFETCH(QStringList, registered);
    QFETCH(QString, taken);
    const WorkingFolder here;
    for (const char* name : {"installed", "users", "unpacked", "system", "working", "elsewhere"})
        QVERIFY(QDir().mkdir(name));
    if (current == "link" || registered.contains("link")) {
#ifdef Q_OS_WIN
        QSKIP("Only few may make links there");
#endif
        QVERIFY(QFile::link(here.path() + "/installed", "link"));
    }
    const QDir all(here.path());
    StartPlaces places{all.filePath(program), all.filePath(current), all.filePath("system"), {}};
    for (int i = 0; i < registered.size(); i += 2)
        places.installations.append({all.filePath(registered[i]), all.filePath(registered[i + 1])});
    QCOMPARE(registeredStartFolder(places), taken.isEmpty() ? QString() : all.filePath(taken));
    // Where there is no folder of the system's, none is taken for it.
    places.systemFolder.clear();
    if (current == "system")
        QCOMPARE(registeredStartFolder(places), QString());
}

void TestStartFolder::sameFolder() {
    const WorkingFolder here;
    QVERIFY(QDir().mkpath("a/b"));
    QVERIFY(QDir().mkdir("c"));
    QVERIFY(platform::isSameFolder("a", "a/"));
    QVERIFY(platform::isSameFolder("a", here.path() + "/a/b/.."));
    QVERIFY(!platform::isSameFolder("a", "c"));
    QVERIFY(!platform::isSameFolder("a", "a/b"));
    QVERIFY(!platform::isSameFolder("gone", "gone"));
    QVERIFY(!platform::isSameFolder("a", QString()));
    QVERIFY(!platform::isSameFolder(QString(), QString()));
#ifdef Q_OS_WIN
    QVERIFY(platform::isSameFolder("A", "a"));
    QVERIFY(platform::isSameFolder("a\\b", "A/B\\"));
#endif
}

void TestStartFolder::givenOne() {
    const WorkingFolder here;
    const QString name = QStringLiteral("station 1 工位");
    QVERIFY(QDir().mkdir(name));
    QCOMPARE(enterStartFolder(name), QString());
    QVERIFY(platform::isSameFolder(QDir::currentPath(), here.path() + '/' + name));
    QCOMPARE(enterStartFolder(here.path()), QString());
    QVERIFY(platform::isSameFolder(QDir::currentPath(), here.path()));
}

void TestStartFolder::givenOneThatCannotBeEntered_data() {
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("why");
    QTest::newRow("gone") << "gone"
                          << "no such folder";
    QTest::newRow("a file") << "file"
                            << "no folder";
}

void TestStartFolder::givenOneThatCannotBeEntered() {
    QFETCH(QString, given);
    QFETCH(QString, why);
    const WorkingFolder here;
    QVERIFY(WorkingFolder::write("file", "text"));
    const QString before = QDir::currentPath();
    const QString problem = enterStartFolder(given);
    QVERIFY2(problem.contains(why), qPrintable(problem));
    // Which one is meant is not to be guessed.
    QVERIFY2(problem.contains(QDir::toNativeSeparators(QDir(before).absoluteFilePath(given))),
             qPrintable(problem));
    QCOMPARE(QDir::currentPath(), before);
    QVERIFY(!QFile::exists("gone"));
}

void TestStartFolder::currentOne() {
    const WorkingFolder here;
    const QString before = QDir::currentPath();
    QCOMPARE(enterStartFolder(QString()), QString());
    QCOMPARE(QDir::currentPath(), before);
}

/// It is made if it is not there.
void TestStartFolder::registeredOneIsEntered() {
    const WorkingFolder here;
    QVERIFY(QDir().mkdir("installed"));
    const QDir all(here.path());
    const QString installed = all.filePath("installed");
    const StartPlaces places{installed, installed, {}, {{installed, all.filePath("a/working")}}};
    QCOMPARE(enterStartFolder(QString(), places), QString());
    QVERIFY(platform::isSameFolder(QDir::currentPath(), all.filePath("a/working")));
    // What was given counts more.
    QCOMPARE(enterStartFolder(here.path(), places), QString());
    QVERIFY(platform::isSameFolder(QDir::currentPath(), here.path()));
}

/// The current folder would be another station.
void TestStartFolder::registeredOneThatCannotBeEntered() {
    const WorkingFolder here;
    QVERIFY(QDir().mkdir("installed"));
    QVERIFY(WorkingFolder::write("working", "text"));
    const QString installed = QDir(here.path()).filePath("installed");
    for (const char* const name : {"working", "working/inner"}) {
        const QString working = QDir(here.path()).filePath(name);
        const QString before = QDir::currentPath();
        const QString problem =
            enterStartFolder(QString(), {installed, installed, {}, {{installed, working}}});
        QVERIFY2(problem.startsWith("The registered working folder cannot be entered: " +
                                    QDir::toNativeSeparators(working) + ": "),
                 qPrintable(problem));
        QCOMPARE(QDir::currentPath(), before);
    }
}

QTEST_GUILESS_MAIN(TestStartFolder)
#include "tst_startfolder.moc"
