// SPDX-License-Identifier: Apache-2.0
#include <QHash>
#include <QSet>
#include <QtTest>

#include "support/guidepages.h"

/// No link of the guide and of the other documents is dead, and no anchor and no picture; in the texts, and
/// in the HTML that is made of them.
class TestGuideLinks : public QObject {
    Q_OBJECT

private slots:
    void linksOfTheTexts_data();
    void linksOfTheTexts();
    void guideStaysWithinItself();
    void packagedPagesStandAlone();
    void packagedPagesAreForTheirReaders();
    void indexNamesEveryPage();
    void everyPageIsMade();
    void linksOfTheHtml();
    void everyKeyIsInItsTable();
    void anchorsAreMadeAsGitHubMakesThem();
    void linksMayGoOnInTheNextLine();

private:
    static bool isElsewhere(const QString& target);
    static QString problemOf(const QString& page, const QString& target,
                             QStringList (*anchors)(const QString& text));
    static QStringList anchorsOfHtml(const QString& text);
    static QStringList packagedPages();
};

namespace {

const QString kRoot = QStringLiteral(PROJECT);
const QString kGuide = QStringLiteral(PROJECT "/docs/guide");
const QString kHtml = QStringLiteral(GUIDE_HTML);  // empty where there is no pandoc

#define NEEDS_HTML()     \
    if (kHtml.isEmpty()) \
    QSKIP("The guide's HTML was not made: no pandoc when the build was configured")

}  // namespace

bool TestGuideLinks::isElsewhere(const QString& target) {
    return target.contains(QLatin1String("://")) || target.startsWith(QLatin1String("mailto:"));
}

/// Why a link leads nowhere; empty if it does lead somewhere.
QString TestGuideLinks::problemOf(const QString& page, const QString& target,
                                  QStringList (*anchors)(const QString& text)) {
    const QString name = QUrl::fromPercentEncoding(target.section(QLatin1Char('#'), 0, 0).toUtf8());
    const QString anchor = QUrl::fromPercentEncoding(target.section(QLatin1Char('#'), 1).toUtf8());
    const QString file = name.isEmpty() ? page : QFileInfo(page).dir().filePath(name);
    if (!QFileInfo::exists(file))
        return QStringLiteral("there is no such file");
    if (!anchor.isEmpty() && !anchors(guide::contentOf(file)).contains(anchor))
        return QStringLiteral("there is no such anchor");
    return {};
}

QStringList TestGuideLinks::anchorsOfHtml(const QString& text) {
    static const QRegularExpression id(QStringLiteral(" id=\"([^\"]*)\""));
    QStringList found;
    for (auto match = id.globalMatch(text); match.hasNext();)
        found.append(match.next().captured(1));
    return found;
}

// ---- the texts -----------------------------------------------------------------------------------

void TestGuideLinks::linksOfTheTexts_data() {
    QTest::addColumn<QString>("folder");
    QTest::addColumn<int>("atLeast");
    QTest::newRow("English") << QStringLiteral("docs/guide/en") << 13;
    QTest::newRow("Chinese") << QStringLiteral("docs/guide/zh") << 13;
    QTest::newRow("documents") << QStringLiteral("docs") << 8;
    QTest::newRow("first pages") << QStringLiteral(".") << 3;
}

void TestGuideLinks::linksOfTheTexts() {
    QFETCH(const QString, folder);
    QFETCH(const int, atLeast);
    const QDir pages(kRoot + QLatin1Char('/') + folder);
    const QStringList names = guide::filesIn(pages.path(), QStringLiteral("md"));
    QVERIFY2(names.size() >= atLeast, qPrintable(names.join(QLatin1Char(' '))));
    QStringList dead;
    for (const QString& name : names) {
        const QString page = pages.filePath(name);
        const auto links = guide::linksOf(guide::contentOf(page));
        for (const guide::Link& link : links) {
            if (isElsewhere(link.target))
                continue;
            const QString problem = problemOf(page, link.target, &guide::anchorsOf);
            if (!problem.isEmpty())
                dead.append(QStringLiteral("%1/%2:%3: %4: %5")
                                .arg(folder, name)
                                .arg(link.line)
                                .arg(link.target, problem));
        }
    }
    QVERIFY2(dead.isEmpty(), qPrintable(QLatin1Char('\n') + dead.join(QLatin1Char('\n'))));
}

/// It is shipped without the other documents; a page's pictures are in its own language.
void TestGuideLinks::guideStaysWithinItself() {
    static const QRegularExpression otherPage(QStringLiteral("^([a-z-]+\\.md)?(#.*)?$"));
    QStringList strays;
    for (const QString& language : guide::kLanguages) {
        const QDir pages(kGuide + QLatin1Char('/') + language);
        const QString pictures = QStringLiteral("../pictures/%1/").arg(language);
        const QStringList names = guide::filesIn(pages.path(), QStringLiteral("md"));
        for (const QString& name : names) {
            const auto links = guide::linksOf(guide::contentOf(pages.filePath(name)));
            for (const guide::Link& link : links) {
                if (isElsewhere(link.target) || (link.isPicture ? link.target.startsWith(pictures)
                                                                : otherPage.match(link.target).hasMatch()))
                    continue;
                strays.append(
                    QStringLiteral("%1/%2:%3: %4").arg(language, name).arg(link.line).arg(link.target));
            }
        }
    }
    QVERIFY2(strays.isEmpty(), qPrintable(QLatin1Char('\n') + strays.join(QLatin1Char('\n'))));
}

/// The documents that the packages for Linux and for Windows have, as their makers name them.
QStringList TestGuideLinks::packagedPages() {
    static const QRegularExpression install(QStringLiteral("/docs/([a-z]+\\.md)"));
    static const QRegularExpression copy(QStringLiteral("^ *cp .*\\bdocs/([a-z]+\\.md)"),
                                         QRegularExpression::MultilineOption);
    QStringList found;
    const auto take = [&found](const QString& file, const QRegularExpression& expression) {
        for (auto match = expression.globalMatch(guide::contentOf(kRoot + file)); match.hasNext();)
            found.append(match.next().captured(1));
    };
    take(QStringLiteral("/packaging/linux/CMakeLists.txt"), install);
    const int ofLinux = found.size();
    take(QStringLiteral("/packaging/windows/build"), copy);
    if (ofLinux == 0 || found.size() == ofLinux)
        return {};
    found.removeDuplicates();
    return found;
}

/// In each package they lie in another place, away from their neighbours here: only what they link to in
/// themselves, or in the net, is there for all.
void TestGuideLinks::packagedPagesStandAlone() {
    const QStringList names = packagedPages();
    QVERIFY2(names.contains(QStringLiteral("genicam.md")) && names.contains(QStringLiteral("simulator.md")),
             qPrintable(names.join(QLatin1Char(' '))));
    QStringList strays;
    for (const QString& name : names) {
        const auto links = guide::linksOf(guide::contentOf(kRoot + QStringLiteral("/docs/") + name));
        for (const guide::Link& link : links) {
            if (!isElsewhere(link.target) && !link.target.startsWith(QLatin1Char('#')))
                strays.append(QStringLiteral("%1:%2: %3").arg(name).arg(link.line).arg(link.target));
        }
    }
    QVERIFY2(strays.isEmpty(), qPrintable(QLatin1Char('\n') + strays.join(QLatin1Char('\n'))));
}

/// Who has a package has no sources: what is in these has a section of its own.
void TestGuideLinks::packagedPagesAreForTheirReaders() {
    static const QRegularExpression ofTheSources(
        QStringLiteral("(?<![\\w/])(?:\\./run\\b|(?:tools|packaging|build|src|tests|docs|guide)/)"));
    const QStringList names = packagedPages();
    QVERIFY(!names.isEmpty());
    QStringList strays;
    for (const QString& name : names) {
        QString text = guide::contentOf(kRoot + QStringLiteral("/docs/") + name);
        const int from = text.indexOf(QStringLiteral("\n## From the sources\n"));
        QVERIFY2(from > 0, qPrintable(name));
        const int end = text.indexOf(QStringLiteral("\n## "), from + 1);
        text.remove(from, (end < 0 ? text.size() : end) - from);
        for (auto match = ofTheSources.globalMatch(text); match.hasNext();) {
            const int at = match.next().capturedStart();
            strays.append(name + QStringLiteral(": ") + text.mid(at, 40).section(QLatin1Char('\n'), 0, 0));
        }
    }
    QVERIFY2(strays.isEmpty(), qPrintable(QLatin1Char('\n') + strays.join(QLatin1Char('\n'))));
}

void TestGuideLinks::indexNamesEveryPage() {
    for (const QString& language : guide::kLanguages) {
        const QDir pages(kGuide + QLatin1Char('/') + language);
        QSet<QString> left;
        const QStringList names = guide::filesIn(pages.path(), QStringLiteral("md"));
        for (const QString& name : names)
            left.insert(name);
        left.remove(QStringLiteral("index.md"));
        const auto links = guide::linksOf(guide::contentOf(pages.filePath(QStringLiteral("index.md"))));
        for (const guide::Link& link : links)
            left.remove(link.target.section(QLatin1Char('#'), 0, 0));
        QVERIFY2(left.isEmpty(), qPrintable(language + QStringLiteral("/index.md does not name ") +
                                            left.values().join(QLatin1Char(' '))));
    }
}

// ---- the HTML ------------------------------------------------------------------------------------

void TestGuideLinks::everyPageIsMade() {
    NEEDS_HTML();
    for (const QString& language : guide::kLanguages) {
        const QStringList texts = guide::filesIn(kGuide + QLatin1Char('/') + language, QStringLiteral("md"));
        for (QString name : texts) {
            name.replace(QStringLiteral(".md"), QStringLiteral(".html"));
            const QString page = guide::contentOf(QStringLiteral("%1/%2/%3").arg(kHtml, language, name));
            QVERIFY2(page.contains(QStringLiteral("</html>")),
                     qPrintable(language + QLatin1Char('/') + name));
            // In the other language too, and beside all others.
            const QString other =
                language == QLatin1String("en") ? QStringLiteral("zh") : QStringLiteral("en");
            QVERIFY2(page.contains(QStringLiteral("href=\"../%1/%2\"").arg(other, name)), qPrintable(name));
            for (QString neighbour : texts) {
                neighbour.replace(QStringLiteral(".md"), QStringLiteral(".html"));
                QVERIFY2(page.contains(QStringLiteral("href=\"%1\"").arg(neighbour)),
                         qPrintable(QStringLiteral("%1/%2 does not list %3").arg(language, name, neighbour)));
            }
        }
    }
}

void TestGuideLinks::linksOfTheHtml() {
    NEEDS_HTML();
    static const QRegularExpression link(QStringLiteral(" (?:href|src)=\"([^\"]*)\""));
    QStringList dead;
    int pictures = 0;
    for (const QString& language : guide::kLanguages) {
        // What is left of a page that is gone is not looked at.
        QStringList names = guide::filesIn(kGuide + QLatin1Char('/') + language, QStringLiteral("md"));
        names.replaceInStrings(QStringLiteral(".md"), QStringLiteral(".html"));
        for (const QString& name : qAsConst(names)) {
            const QString page = QStringLiteral("%1/%2/%3").arg(kHtml, language, name);
            const QString text = guide::contentOf(page);
            for (auto match = link.globalMatch(text); match.hasNext();) {
                const QString target = match.next().captured(1);
                if (isElsewhere(target))
                    continue;
                pictures += target.endsWith(QLatin1String(".png"));
                QString problem = problemOf(page, target, &anchorsOfHtml);
                if (target.contains(QLatin1String(".md")))
                    problem = QStringLiteral("a link to a text");
                if (!problem.isEmpty())
                    dead.append(QStringLiteral("%1/%2: %3: %4").arg(language, name, target, problem));
            }
        }
    }
    QVERIFY2(dead.isEmpty(), qPrintable(QLatin1Char('\n') + dead.join(QLatin1Char('\n'))));
    QVERIFY(pictures > 20);
}

void TestGuideLinks::everyKeyIsInItsTable() {
    NEEDS_HTML();
    static const QRegularExpression name(QStringLiteral("^\\w+/\\w+$"), QRegularExpression::MultilineOption);
    const QString keys = guide::contentOf(kGuide + QStringLiteral("/keys.txt"));
    for (const QString& language : guide::kLanguages) {
        const QString page = guide::contentOf(QStringLiteral("%1/%2/keys.html").arg(kHtml, language));
        int count = 0;
        for (auto match = name.globalMatch(keys); match.hasNext(); ++count) {
            const QString row = QStringLiteral("<td><code>%1</code></td>").arg(match.next().captured());
            QVERIFY2(page.count(row) == 1, qPrintable(language + QStringLiteral(": ") + row));
        }
        QVERIFY(count > 40);
    }
}

void TestGuideLinks::anchorsAreMadeAsGitHubMakesThem() {
    const QString text = QStringLiteral(
        "# Keys of setting.ini\n```\n# none\n```\n## In full screen, in \"Chinese\"\n## Twice\n### Twice\n"
        "## 保存，四种方式\n");
    QCOMPARE(
        guide::anchorsOf(text),
        (QStringList{QStringLiteral("keys-of-settingini"), QStringLiteral("in-full-screen-in-chinese"),
                     QStringLiteral("twice"), QStringLiteral("twice-1"), QStringLiteral("保存四种方式")}));
}

void TestGuideLinks::linksMayGoOnInTheNextLine() {
    const auto links =
        guide::linksOf(QStringLiteral("a [b](c.md#d) ![e](f.png)\n```\n[g](h)\n```\n[i](j)\n"
                                      "x ([k\n  l](m.md), ![n\no](p.png))\n[q\n\nr](s.md) [t](u.md)"));
    QStringList found;
    for (const guide::Link& link : links)
        found.append(QStringLiteral("%1%2:%3")
                         .arg(link.isPicture ? QStringLiteral("!") : QString(), link.target)
                         .arg(link.line));
    QCOMPARE(found.join(QLatin1Char(' ')), QStringLiteral("c.md#d:1 !f.png:1 j:5 m.md:6 !p.png:7 u.md:11"));
}

QTEST_GUILESS_MAIN(TestGuideLinks)
#include "tst_guidelinks.moc"
