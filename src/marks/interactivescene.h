#pragma once

#include <QGraphicsScene>
#include <QList>

class Mark;

/// The scene of the main view: the camera pictures (owned here as items, made by the main window) and the
/// marks laid over them. GUI thread.
class InteractiveScene : public QGraphicsScene {
    Q_OBJECT

public:
    /// Bits of `options`.
    enum Option { DeleteKeyDeletes = 1 };

    explicit InteractiveScene(QObject* parent, int optionBits);

    /// Takes a mark out of the scene and deletes it; no effect on a mark that is not in the list.
    void removeMark(Mark* mark);

signals:
    /// A mark was placed: its first point in scene px, its kind number, itself (owned by the scene).
    void finished(double x, double y, int item_type, Mark* mark);
    /// A barcode was completed.
    void scanned(QString barcode);

private:
    int options;
    QList<Mark*> marks;  // owned, in order of creation
};
