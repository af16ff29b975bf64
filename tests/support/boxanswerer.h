// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QVector>
#include <functional>
#include <utility>

/// Answers message boxes as a person would who presses the default button, and keeps what they said. Works
/// while a box runs its own event loop. GUI thread.
class BoxAnswerer : public QObject {
public:
    struct Box {
        QMessageBox::Icon icon;
        QString title;
        QString text;
        QMessageBox::StandardButtons buttons;
        QMessageBox::StandardButton defaultButton;
    };

    BoxAnswerer() {
        timer.callOnTimeout(this, [this] { answer(); });
        timer.start(10);
    }

    QVector<Box> boxes;
    QMessageBox::StandardButton choice = QMessageBox::NoButton;  ///< pressed where a box has it
    std::function<void()> beforeAnswer;  ///< called once, while the next box is up; it is answered later

private:
    void answer() {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible())
            return;
        if (beforeAnswer) {
            std::exchange(beforeAnswer, nullptr)();
            return;
        }
        boxes.append({box->icon(), box->windowTitle(), box->text(), box->standardButtons(),
                      box->standardButton(box->defaultButton())});
        if (auto* button = box->button(choice))
            button->click();
        else
            box->accept();
    }

    QTimer timer;
};
