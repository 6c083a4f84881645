#pragma once
// The site board: the aisle's storage positions, lifts and the carriage as tiles in rows and
// lanes, and the rail with the carriage where it stands, all toned by state. Drawn from the
// "diagram" payload; a later payload of the same shape updates the drawn widgets in place, so a
// carriage moving along the rail costs a repaint rather than a new board.

#include "render/actions.h"

#include <QJsonObject>
#include <QList>
#include <QWidget>

class QGridLayout;
class QLabel;

namespace board {

class DropRow;
class Tile;
class Track;

class SiteBoard final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SiteBoard)

public:
    SiteBoard(const QJsonObject &payload, const render::Actions &actions, QWidget *parent = nullptr);

    // Brings the drawn board up to `payload` when its shape (rows, lanes, tile ids and kinds,
    // drop rows, row buttons, the rail) is the same (a tile may change lanes: the carriage moves); false, with nothing
    // changed, when it is not.
    bool update(const QJsonObject &payload);

    // What makes two payloads the same shape.
    static QString shapeOf(const QJsonObject &payload);

private:
    struct Row
    {
        DropRow *row = nullptr;
        QLabel *label = nullptr;
        QGridLayout *grid = nullptr;
        QList<Tile *> tiles;
        QList<int> lanes;
    };

    void build(const QJsonObject &payload);
    void fill(const QJsonObject &payload);

    render::Actions m_actions;
    QString m_shape;
    int m_lanes = 1;
    QLabel *m_title = nullptr;
    QList<Row> m_rows;
    Track *m_track = nullptr;
};

// A board of `payload`; none when the payload is empty.
SiteBoard *siteBoard(const QJsonObject &payload, const render::Actions &actions, QWidget *parent);

} // namespace board
