// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

/// What a run found, for people and for programs.
struct Report {
    QJsonObject figures;
    QStringList failures;  ///< empty: all that was promised held

    bool passed() const { return failures.isEmpty(); }
    QString text() const;
    /// Returns what went wrong, empty when nothing did or when no file is wanted.
    QString write(const QString& fileName) const;
};
