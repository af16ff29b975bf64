// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QVector>

/// What tests have to know of the guide's Markdown: pages, headings, links.
namespace guide {

inline const QStringList kLanguages{QStringLiteral("en"), QStringLiteral("zh")};

inline QString contentOf(const QString& file) {
    QFile opened(file);
    return opened.open(QIODevice::ReadOnly) ? QString::fromUtf8(opened.readAll()) : QString();
}

/// Names of the files of a kind in a folder, sorted.
inline QStringList filesIn(const QString& folder, const QString& kind) {
    return QDir(folder).entryList({QStringLiteral("*.") + kind}, QDir::Files, QDir::Name);
}

/// The text without what stands in fences, which is neither heading nor link. Lines keep their numbers.
inline QString withoutFences(const QString& text) {
    QStringList lines = text.split(QLatin1Char('\n'));
    bool isFenced = false;
    for (QString& line : lines) {
        const bool isFence = line.trimmed().startsWith(QLatin1String("```"));
        if (isFence || isFenced)
            line.clear();
        isFenced ^= isFence;
    }
    return lines.join(QLatin1Char('\n'));
}

struct Heading {
    int level;
    QString text;
};

inline QVector<Heading> headingsOf(const QString& text) {
    static const QRegularExpression heading(QStringLiteral("^(#{1,6}) +(.*?) *$"),
                                            QRegularExpression::MultilineOption);
    QVector<Heading> found;
    for (auto match = heading.globalMatch(withoutFences(text)); match.hasNext();) {
        const auto next = match.next();
        found.append({next.capturedLength(1), next.captured(2)});
    }
    return found;
}

/// What a link to a heading has behind its "#": lower case, spaces as hyphens, no punctuation; one that comes
/// again is numbered.
inline QStringList anchorsOf(const QString& text) {
    QStringList found;
    const auto headings = headingsOf(text);
    for (const Heading& heading : headings) {
        QString anchor;
        for (const QChar sign : heading.text.toLower()) {
            if (sign.isLetterOrNumber() || sign.isMark() || sign == QLatin1Char('-') ||
                sign == QLatin1Char('_'))
                anchor += sign;
            else if (sign.isSpace())
                anchor += QLatin1Char('-');
        }
        QString numbered = anchor;
        for (int number = 1; found.contains(numbered); ++number)
            numbered = anchor + QStringLiteral("-%1").arg(number);
        found.append(numbered);
    }
    return found;
}

struct Link {
    QString target;
    bool isPicture;
    int line;  // from 1
};

inline QVector<Link> linksOf(const QString& text) {
    // What a link shows may be a picture, which is a link itself.
    static const QRegularExpression link(QStringLiteral("(!?)\\[[^\\]]*\\]\\(([^)\\s]+)\\)"));
    QVector<Link> found;
    const QStringList lines = withoutFences(text).split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        for (auto match = link.globalMatch(lines[i]); match.hasNext();) {
            const auto next = match.next();
            found.append({next.captured(2), !next.captured(1).isEmpty(), i + 1});
        }
    }
    return found;
}

}  // namespace guide
