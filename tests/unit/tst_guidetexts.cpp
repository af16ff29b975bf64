// SPDX-License-Identifier: Apache-2.0
#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>
#include <algorithm>

#include "app/measurebar.h"
#include "settings/settingkeys.h"
#include "support/guidepages.h"

/// The guide has every action, control and key, in both languages, and says the same in both: the same pages,
/// headings and pictures.
class TestGuideTexts : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void samePages();
    void sameHeadings();
    void samePictures();
    void sameRows();
    void chineseWords_data();
    void chineseWords();
    void everyControl_data() { languages(); }
    void everyControl();
    void everyMeasureAction_data() { languages(); }
    void everyMeasureAction();
    void everyShortcut_data() { languages(); }
    void everyShortcut();
    void keysAreThoseOfTheProgram();
    void everyKeyIsExplained();
    void theKeysTableHasItsPlace();

private:
    /// A text of a form that somebody sees.
    struct Control {
        QString form;
        QString object;
        QString text;
        bool isTitle;        // of a tab or a box
        QStringList inside;  // titles of the tab and the boxes that it is in, the outermost first
    };
    /// A block of keys.txt.
    struct Key {
        QString fallback;
        QHash<QString, QString> meaning;  // by language
    };

    static void languages();
    static QStringList pagesOf(const QString& language);
    static QString pageText(const QString& language, const QString& name);
    static QString allText(const QString& language);
    static QStringList picturesOf(const QString& text);
    static QString shown(QString text);
    static QSet<QString> namesOf(const QString& text);
    QSet<QString> namedIn(const QString& language) const;
    QSet<QString> namedFor(const Control& control, const QString& language) const;
    QString onScreen(const Control& control, const QString& text, const QString& language) const;
    QSet<QString> translationsOf(const QString& text) const;
    void readForms();
    void readTranslation();
    void readKeys();

    QVector<Control> controls;
    QStringList shortcuts;
    QHash<QString, QString> chinese;  // by context, "|" and English text
    QHash<QString, Key> keyBlocks;
};

namespace {

const QString kGuide = QStringLiteral(PROJECT "/docs/guide");
const QString kSources = QStringLiteral(PROJECT "/src");

QString lines(const QStringList& list) {
    return QLatin1Char('\n') + list.join(QLatin1Char('\n'));
}

}  // namespace

void TestGuideTexts::languages() {
    QTest::addColumn<QString>("language");
    for (const QString& language : guide::kLanguages)
        QTest::newRow(qPrintable(language)) << language;
}

QStringList TestGuideTexts::pagesOf(const QString& language) {
    return guide::filesIn(kGuide + QLatin1Char('/') + language, QStringLiteral("md"));
}

QString TestGuideTexts::pageText(const QString& language, const QString& name) {
    return guide::contentOf(QStringLiteral("%1/%2/%3").arg(kGuide, language, name));
}

QString TestGuideTexts::allText(const QString& language) {
    QString all;
    const QStringList names = pagesOf(language);
    for (const QString& name : names)
        all += pageText(language, name) + QLatin1Char('\n');
    return all;
}

/// Without what makes a letter a key of its menu, and without what only leads the eye.
QString TestGuideTexts::shown(QString text) {
    static const QRegularExpression menuKey(QStringLiteral("\\(&.\\)|&"));
    static const QRegularExpression end(QStringLiteral("[:：…]+$"));
    return text.remove(menuKey).trimmed().remove(end);
}

void TestGuideTexts::initTestCase() {
    readForms();
    readTranslation();
    readKeys();
    QVERIFY2(controls.size() > 80, qPrintable(QString::number(controls.size())));
    QVERIFY2(chinese.size() > 80, qPrintable(QString::number(chinese.size())));
}

void TestGuideTexts::readForms() {
    const QStringList forms = guide::filesIn(kSources + QStringLiteral("/forms"), QStringLiteral("ui"));
    for (const QString& form : forms) {
        QFile file(kSources + QStringLiteral("/forms/") + form);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QXmlStreamReader xml(&file);
        QString className;
        QString object;
        QString property;
        QStringList titles;  // of the widgets that are open
        while (!xml.atEnd()) {
            xml.readNext();
            if (xml.isEndElement() && xml.name() == QLatin1String("widget"))
                titles.removeLast();
            if (!xml.isStartElement())
                continue;
            const QStringRef name = xml.name();
            if (name == QLatin1String("class") && className.isEmpty()) {
                className = xml.readElementText();
            } else if (name == QLatin1String("widget") || name == QLatin1String("action")) {
                if (name == QLatin1String("widget"))
                    titles.append(QString());
                object = xml.attributes().value(QStringLiteral("name")).toString();
            } else if (name == QLatin1String("property") || name == QLatin1String("attribute")) {
                property = xml.attributes().value(QStringLiteral("name")).toString();
            } else if (name == QLatin1String("string")) {
                const bool isFixed = xml.attributes().hasAttribute(QStringLiteral("notr"));
                const QString text = xml.readElementText();
                if (property == QLatin1String("shortcut"))
                    shortcuts.append(text);
                // The about box is a text, not controls.
                const bool isSeen = !isFixed && !text.isEmpty() && !text.contains(QLatin1Char('<')) &&
                                    QStringList{"text", "title", "windowTitle"}.contains(property);
                const bool isTitle = property == QLatin1String("title");
                QStringList inside = titles;
                inside.removeAll(QString());
                if (isSeen || (text.contains(QLatin1String("<->")) && property == QLatin1String("text")))
                    controls.append({className, object, text, isTitle, inside});
                if (isTitle && !titles.isEmpty())
                    titles.last() = text;
            }
        }
        QVERIFY2(!xml.hasError(), qPrintable(form + QStringLiteral(": ") + xml.errorString()));
    }
}

void TestGuideTexts::readTranslation() {
    QFile file(kSources + QStringLiteral("/resources/tilecam_zh_CN.ts"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QString context;
    QString source;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == QLatin1String("name"))
            context = xml.readElementText();
        else if (xml.name() == QLatin1String("source"))
            source = xml.readElementText();
        else if (xml.name() == QLatin1String("translation"))
            chinese.insert(context + QLatin1Char('|') + source, xml.readElementText());
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
}

void TestGuideTexts::readKeys() {
    static const QRegularExpression name(QStringLiteral("^\\w+/\\w+$"));
    static const QRegularExpression entry(QStringLiteral("^(default|en|zh): ?(.*)$"));
    QString key;
    const auto all = guide::contentOf(kGuide + QStringLiteral("/keys.txt")).split(QLatin1Char('\n'));
    for (const QString& line : all) {
        const auto match = entry.match(line);
        if (name.match(line).hasMatch()) {
            QVERIFY2(!keyBlocks.contains(line), qPrintable(line + QStringLiteral(" is there twice")));
            key = line;
            keyBlocks.insert(key, {});
        } else if (match.hasMatch() && match.captured(1) == QLatin1String("default")) {
            keyBlocks[key].fallback = match.captured(2);
        } else if (match.hasMatch()) {
            keyBlocks[key].meaning.insert(match.captured(1), match.captured(2).trimmed());
        } else {
            QVERIFY2(line.isEmpty() || line.startsWith(QLatin1Char('#')),
                     qPrintable(QStringLiteral("keys.txt: ") + line));
        }
    }
}

/// What stands in bold letters or in quotes, or is a heading: names of what is on the screen.
QSet<QString> TestGuideTexts::namesOf(const QString& text) {
    static const QRegularExpression name(QStringLiteral("\\*\\*([^*]+)\\*\\*|\"([^\"\n]+)\"|“([^”\n]+)”"));
    const QString searched = guide::withoutFences(text);
    QSet<QString> found;
    for (auto match = name.globalMatch(searched); match.hasNext();) {
        const auto next = match.next();
        for (int group = 1; group <= 3; ++group)
            found.insert(shown(next.captured(group).simplified()));
    }
    const auto headings = guide::headingsOf(searched);
    for (const guide::Heading& heading : headings)
        found.insert(shown(heading.text));
    return found;
}

/// On any page.
QSet<QString> TestGuideTexts::namedIn(const QString& language) const {
    QString text = allText(language);
    for (const Key& key : keyBlocks)
        text += key.meaning[language] + QLatin1Char('\n');
    return namesOf(text);
}

QString TestGuideTexts::onScreen(const Control& control, const QString& text, const QString& language) const {
    return shown(language == QLatin1String("zh") ? chinese.value(control.form + QLatin1Char('|') + text)
                                                 : text);
}

/// Where the guide has to name what is in a tab of the settings: in the section of the box that it is in, or
/// of the tab where the box has none; a title anywhere in it, all else in the first column of a table, so
/// that one of two controls of a name does not stand for the other.
QSet<QString> TestGuideTexts::namedFor(const Control& control, const QString& language) const {
    const QString page = pageText(language, QStringLiteral("settings.md"));
    QString section;
    for (const QString& title : control.inside) {
        const QString inner = guide::sectionOf(page, onScreen(control, title, language));
        section = inner.isEmpty() ? section : inner;
    }
    if (control.isTitle)
        return namesOf(section);
    QString columns;
    const QStringList rows = guide::rowsOf(section);
    for (const QString& row : rows)
        columns += row.section(QLatin1Char('|'), 1, 1) + QLatin1Char('\n');
    return namesOf(columns);
}

/// What a text may be on the screen in Chinese.
QSet<QString> TestGuideTexts::translationsOf(const QString& text) const {
    QSet<QString> found;
    for (auto entry = chinese.cbegin(); entry != chinese.cend(); ++entry) {
        if (shown(entry.key().section(QLatin1Char('|'), 1)) == text)
            found.insert(shown(entry.value()));
    }
    return found;
}

// ---- both languages say the same -----------------------------------------------------------------

void TestGuideTexts::samePages() {
    QCOMPARE(pagesOf(QStringLiteral("en")).join(QLatin1Char(' ')),
             pagesOf(QStringLiteral("zh")).join(QLatin1Char(' ')));
    QVERIFY(pagesOf(QStringLiteral("en")).size() >= 13);
}

QStringList TestGuideTexts::picturesOf(const QString& text) {
    QStringList found;
    const auto links = guide::linksOf(text);
    for (const guide::Link& link : links) {
        if (link.isPicture)
            found.append(link.target.section(QLatin1Char('/'), -1));
    }
    return found;
}

void TestGuideTexts::sameHeadings() {
    const QStringList names = pagesOf(QStringLiteral("en"));
    for (const QString& name : names) {
        QStringList outlines;
        for (const QString& language : guide::kLanguages) {
            QStringList outline;
            const auto headings = guide::headingsOf(pageText(language, name));
            for (const guide::Heading& heading : headings)
                outline.append(QString::number(heading.level));
            outlines.append(outline.join(QLatin1Char(' ')));
        }
        QVERIFY2(outlines[0] == outlines[1],
                 qPrintable(QStringLiteral("%1: levels of the headings:%2").arg(name, lines(outlines))));
        QVERIFY2(outlines[0].startsWith(QLatin1Char('1')) && outlines[0].count(QLatin1Char('1')) == 1,
                 qPrintable(name + QStringLiteral(" has not one title, and first")));
    }
}

void TestGuideTexts::samePictures() {
    const QStringList names = pagesOf(QStringLiteral("en"));
    QStringList linked;
    for (const QString& name : names) {
        linked += picturesOf(pageText(QStringLiteral("en"), name));
        const QStringList english = picturesOf(pageText(QStringLiteral("en"), name));
        const QStringList inChinese = picturesOf(pageText(QStringLiteral("zh"), name));
        QVERIFY2(english == inChinese, qPrintable(QStringLiteral("%1: en %2; zh %3")
                                                      .arg(name, english.join(QLatin1Char(' ')),
                                                           inChinese.join(QLatin1Char(' ')))));
    }
    const QStringList english =
        guide::filesIn(kGuide + QStringLiteral("/pictures/en"), QStringLiteral("png"));
    const QStringList inChinese =
        guide::filesIn(kGuide + QStringLiteral("/pictures/zh"), QStringLiteral("png"));
    QCOMPARE(english.join(QLatin1Char(' ')), inChinese.join(QLatin1Char(' ')));
    for (const QString& file : english) {
        const bool isShown = std::any_of(linked.begin(), linked.end(), [&](const QString& picture) {
            return QFileInfo(picture).completeBaseName() == QFileInfo(file).completeBaseName();
        });
        QVERIFY2(isShown, qPrintable(QStringLiteral("no page shows ") + file));
    }
}

/// A row has the texts of the program, the keys, the names of buttons and the links of the row beside it in
/// the other language.
void TestGuideTexts::sameRows() {
    static const QRegularExpression piece(
        QStringLiteral("`([^`]+)`|\\*\\*([^*]+)\\*\\*|\\(([a-z-]+\\.md)[)#]"));
    constexpr int kBold = 2;
    static const QRegularExpression number(QStringLiteral("%\\d"));
    const QStringList names = pagesOf(QStringLiteral("en"));
    QStringList others;
    int compared = 0;
    for (const QString& name : names) {
        const QStringList english = guide::rowsOf(pageText(QStringLiteral("en"), name));
        const QStringList inChinese = guide::rowsOf(pageText(QStringLiteral("zh"), name));
        QVERIFY2(
            english.size() == inChinese.size(),
            qPrintable(
                QStringLiteral("%1: %2 and %3 rows").arg(name).arg(english.size()).arg(inChinese.size())));
        for (int i = 0; i < english.size(); ++i) {
            for (auto match = piece.globalMatch(english[i]); match.hasNext();) {
                const auto next = match.next();
                const QString text = next.captured(next.lastCapturedIndex());
                // As the row shows it, which leaves values out, and as the translation has it.
                QString withValue = text;
                withValue.replace(QStringLiteral("…"), QStringLiteral("%1"));
                QSet<QString> allowed = translationsOf(shown(text));
                if (next.lastCapturedIndex() == kBold && allowed.isEmpty())
                    continue;  // no name on the screen
                const auto translations = translationsOf(shown(withValue));
                for (QString translation : translations)
                    allowed.insert(translation.replace(number, QStringLiteral("…")));
                allowed.insert(text);
                ++compared;
                if (std::none_of(allowed.cbegin(), allowed.cend(),
                                 [&](const QString& each) { return inChinese[i].contains(each); }))
                    others.append(QStringLiteral("%1: %2\n    %3").arg(name, text, inChinese[i]));
            }
        }
    }
    QVERIFY2(others.isEmpty(), qPrintable(QStringLiteral("not in its row:") + lines(others)));
    QVERIFY(compared > 300);
}

void TestGuideTexts::chineseWords_data() {
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QString>("rejected");
    // Its meaning, the word, and what would be another word for the same thing, or a wrong one.
    const auto word = [](const char* meaning, const char* chosen, const char* rejected) {
        QTest::newRow(meaning) << QString::fromUtf8(chosen) << QString::fromUtf8(rejected);
    };
    word("tile", "画面格", "图块|瓦片|磁贴");
    word("cross-hair", "十字标记", "十字线|十字光标|十字准线|准星");
    word("tab of a dialog", "选项卡", "标签页");
    word("maker", "厂商", "厂家|制造商");
    word("how cameras are counted", "台相机", "个(?:\\*\\* ?)?相机(?!库|参数|号)");
    word("composite", "合成图像", "合成图(?!像)|拼接图像|全景图");
    word("barcode reader", "条码阅读器", "扫码枪|条码枪|扫描枪|读码器");
    word("machine controller", "设备控制器", "机器控制器|机床控制器");
    word("section of setting.ini", "节", "\\]`? ?(?:小节|段|部分)");
    word("working folder", "工作文件夹", "工作目录");
}

/// One word for one thing, whoever writes a page.
void TestGuideTexts::chineseWords() {
    QFETCH(const QString, chosen);
    QFETCH(const QString, rejected);
    const QString language = QStringLiteral("zh");
    QString text = allText(language);
    for (const Key& key : keyBlocks)
        text += key.meaning[language] + QLatin1Char('\n');
    QVERIFY(text.contains(chosen));
    const QRegularExpression wrong(QStringLiteral(".*(?:%1).*").arg(rejected));
    QVERIFY(wrong.isValid());
    QStringList found;
    for (auto match = wrong.globalMatch(text); match.hasNext();)
        found.append(match.next().captured());
    QVERIFY2(found.isEmpty(),
             qPrintable(chosen + QStringLiteral(" is the word, not that in") + lines(found)));
}

// ---- all is there --------------------------------------------------------------------------------

void TestGuideTexts::everyControl() {
    QFETCH(const QString, language);
    const QSet<QString> named = namedIn(language);
    QStringList missing;
    int ofTabs = 0;
    for (const Control& control : qAsConst(controls)) {
        const QString text = onScreen(control, control.text, language);
        QVERIFY2(!text.isEmpty(), qPrintable(control.text));
        const bool isOfTab = control.form == QLatin1String("SettingDialog") && !control.inside.isEmpty();
        ofTabs += isOfTab;
        if (!(isOfTab ? namedFor(control, language) : named).contains(text))
            missing.append(QStringLiteral("%1, %2: \"%3\"").arg(control.form, control.object, text));
    }
    QVERIFY2(missing.isEmpty(), qPrintable(language + QStringLiteral(" does not name") + lines(missing)));
    QVERIFY2(ofTabs > 30, qPrintable(QString::number(ofTabs)));
}

void TestGuideTexts::everyMeasureAction() {
    QFETCH(const QString, language);
    MeasureBar bar(nullptr);
    QTranslator texts;
    if (language == QLatin1String("zh")) {
        QVERIFY(texts.load(QStringLiteral(TRANSLATION_FILE)));
        QCoreApplication::installTranslator(&texts);
        bar.retranslate();
    }
    QStringList wanted{bar.windowTitle()};
    const auto actions = bar.actions();
    for (const QAction* action : actions) {
        if (!action->isSeparator())
            wanted.append(shown(action->text()));
    }
    QVERIFY(wanted.size() >= 15);
    const QSet<QString> named = namedIn(language);
    QStringList missing;
    for (const QString& text : qAsConst(wanted)) {
        if (!named.contains(text))
            missing.append(text);
    }
    QVERIFY2(missing.isEmpty(), qPrintable(language + QStringLiteral(" does not name") + lines(missing)));
}

void TestGuideTexts::everyShortcut() {
    QFETCH(const QString, language);
    QStringList wanted = shortcuts;
    QVERIFY(wanted.contains(QStringLiteral("F4")));
    // Not of an action.
    wanted += {keys::kHotkey.fallback, QStringLiteral("Delete")};
    const MeasureBar bar(nullptr);
    const auto actions = bar.actions();
    for (const QAction* action : actions) {
        const auto its = action->shortcuts();
        for (const QKeySequence& shortcut : its)
            wanted.append(shortcut.toString(QKeySequence::PortableText));
    }
    QVERIFY(wanted.contains(QStringLiteral("Ctrl+Z")));
    // Where the guide begins: other pages name F1 as a key that can save.
    QVERIFY(pageText(language, QStringLiteral("index.md")).contains(QStringLiteral("**F1**")));
    const QString text = allText(language);
    for (const QString& shortcut : qAsConst(wanted)) {
        const QRegularExpression whole(
            QStringLiteral("(?<![\\w+])%1(?![\\w+])").arg(QRegularExpression::escape(shortcut)));
        QVERIFY2(text.contains(whole), qPrintable(language + QStringLiteral(" does not name ") + shortcut));
    }
}

// ---- setting.ini ---------------------------------------------------------------------------------

void TestGuideTexts::keysAreThoseOfTheProgram() {
    QStringList problems;
    QSet<QString> known;
    const auto all = keys::all();
    for (const keys::Description& key : all) {
        known.insert(key.name);
        if (!keyBlocks.contains(key.name))
            problems.append(key.name + QStringLiteral(" is missing"));
        else if (keyBlocks[key.name].fallback != key.fallback.toString())
            problems.append(QStringLiteral("%1 has the default \"%2\", not \"%3\"")
                                .arg(key.name, key.fallback.toString(), keyBlocks[key.name].fallback));
    }
    const QStringList blocks = keyBlocks.keys();
    for (const QString& name : blocks) {
        if (!known.contains(name))
            problems.append(name + QStringLiteral(" is none of the program's"));
    }
    QVERIFY2(problems.isEmpty(), qPrintable(QStringLiteral("keys.txt:") + lines(problems)));
    QVERIFY(keyBlocks.size() > 40);
}

void TestGuideTexts::everyKeyIsExplained() {
    const QStringList blocks = keyBlocks.keys();
    for (const QString& name : blocks) {
        for (const QString& language : guide::kLanguages)
            QVERIFY2(!keyBlocks[name].meaning[language].isEmpty(),
                     qPrintable(name + QLatin1Char(' ') + language));
    }
}

void TestGuideTexts::theKeysTableHasItsPlace() {
    for (const QString& language : guide::kLanguages)
        QCOMPARE(pageText(language, QStringLiteral("keys.md")).count(QStringLiteral("\n<!-- keys -->\n")), 1);
}

QTEST_MAIN(TestGuideTexts)
#include "tst_guidetexts.moc"
