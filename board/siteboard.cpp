#include "board/siteboard.h"

#include "app/base/theme.h"
#include "board/dragdrop.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QJsonDocument>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QTextLayout>
#include <QTextOption>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace board {

namespace {

constexpr int kRowCap = 48;
constexpr int kTileCap = 64;
constexpr int kMarkCap = 32;
constexpr int kActionCap = 6;
constexpr int kLabelWidth = 110;
constexpr int kTrackHeight = 54; // the least: a one-line label and marks
constexpr qreal kRailY = 22;
constexpr int kMarkWidth = 120; // a mark's label wraps within this, centred under the mark
constexpr int kMaxLanes = 64;
constexpr double kMaxMm = 1e7;

QJsonArray rowsOf(const QJsonObject &payload)
{
    return prims::readArray(payload, "rows"_L1, kRowCap);
}

int lanesOf(const QJsonObject &payload)
{
    int widest = 1;
    for (const QJsonValue &r : rowsOf(payload))
        widest = std::max(widest, int(prims::readArray(r.toObject(), "tiles"_L1, kTileCap).size()));
    return prims::readInt(payload, "lanes"_L1, widest, 1, kMaxLanes);
}

// How tall `text` stands when it wraps to `width` as a tile paints it: between words, and inside
// a word only when that word is wider than the tile.
qreal wrappedHeight(const QFont &font, const QString &text, qreal width)
{
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    qreal height = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        height += line.height();
    }
    layout.endLayout();
    return height;
}

} // namespace

// One storage position, lift or the carriage: a toned card that taps (and, with a "drag"
// payload, drags) like any board widget.
class Tile final : public Draggable
{
public:
    explicit Tile(QWidget *parent)
        : Draggable(parent)
    {
        setMinimumSize(54, 42);
        QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        policy.setHeightForWidth(true);
        setSizePolicy(policy);
    }

    // Tall enough for the label and the note wrapped to the tile's width: the unit's words are
    // shown whole, never cut.
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override
    {
        const qreal room = std::max(1, width - 2 - 16);
        qreal text = wrappedHeight(theme::uiFont(9, true), m_label, room);
        if (!m_note.isEmpty())
            text += 2 + wrappedHeight(theme::uiFont(8), m_note, room);
        return std::max(m_kind == "lift"_L1 ? 58 : 46, int(std::ceil(text)) + 2 + 8 + 4);
    }
    QSize sizeHint() const override { return QSize(90, heightForWidth(90)); }

    // Only a tile whose keys changed is touched, so an update in place repaints what moved.
    void fill(const QJsonObject &tile, const render::Actions &actions)
    {
        if (tile == m_source && !m_source.isEmpty())
            return;
        m_source = tile;
        m_kind = prims::readName(tile, "kind"_L1, u"position"_s);
        const QString label = prims::valueText(tile, "label"_L1);
        const QString note = prims::valueText(tile, "note"_L1);
        if (label != m_label || note != m_note) {
            m_label = label;
            m_note = note;
            updateGeometry();
        }
        m_state = prims::readName(tile, "state"_L1, u"idle"_s);
        setObjectName(u"tile:"_s + prims::readText(tile, "id"_L1));
        setProperty("tone", m_state);
        setTraceLabel(m_label.isEmpty() ? prims::readText(tile, "id"_L1) : m_label);
        setPress(prims::readText(tile, "path"_L1), prims::readObject(tile, "body"_L1));
        setSoundName(prims::readName(tile, "sound"_L1));
        setDragPayload(prims::readObject(tile, "drag"_L1));
        setToolTip(prims::readText(tile, "tip"_L1));
        // A tile without a path is there to be looked at, not pressed.
        setActions(path().isEmpty() ? render::Actions{} : actions);
        setCursor(path().isEmpty() && dragPayload().isEmpty() ? Qt::ArrowCursor : Qt::PointingHandCursor);
        update();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        const theme::Palette &p = theme::palette();
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QColor tone = theme::toneColor(m_state);
        const bool carriage = m_kind == "carriage"_L1;
        const QRectF box = QRectF(rect()).adjusted(1, 1, -1, -1);
        painter.setPen(QPen(tone, carriage ? 2.5 : 1.2));
        painter.setBrush(carriage ? tone : theme::toneSoft(m_state));
        const qreal radius = m_kind == "lift"_L1 ? 2 : 6;
        painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
        if (m_kind == "lift"_L1) {
            // The lift's shaft: two rails up its sides.
            painter.setPen(QPen(tone, 1.5));
            painter.drawLine(QPointF(box.left() + 5, box.top() + 4), QPointF(box.left() + 5, box.bottom() - 4));
            painter.drawLine(QPointF(box.right() - 5, box.top() + 4), QPointF(box.right() - 5, box.bottom() - 4));
        }
        const QColor ink = carriage ? (p.dark ? p.bg : p.surface) : p.ink;
        const QRectF text = box.adjusted(8, 4, -8, -4);
        painter.setPen(ink);
        painter.setFont(theme::uiFont(9, true));
        // Lines break between words, and inside a word only when it is wider than the tile.
        QTextOption option(Qt::AlignHCenter | (m_note.isEmpty() ? Qt::AlignVCenter : Qt::AlignTop));
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        painter.drawText(text, m_label, option);
        if (!m_note.isEmpty()) {
            painter.setFont(theme::uiFont(8));
            painter.setPen(carriage ? ink : p.muted);
            option.setAlignment(Qt::AlignHCenter | Qt::AlignBottom);
            painter.drawText(text, m_note, option);
        }
    }

private:
    QJsonObject m_source;
    QString m_kind;
    QString m_label;
    QString m_note;
    QString m_state;
};

// The rail the carriage runs on, with its marks (lifts, ends) and the carriage where it stands.
class Track final : public QWidget
{
public:
    explicit Track(QWidget *parent)
        : QWidget(parent)
    {
        setObjectName(u"track"_s);
        setFixedHeight(kTrackHeight);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }

    void fill(const QJsonObject &track)
    {
        if (track == m_source && !m_source.isEmpty())
            return;
        m_source = track;
        m_length = std::max(1.0, std::clamp(prims::readNumber(track, "length_mm"_L1, 1000), 1.0, kMaxMm));
        m_at = std::clamp(prims::readNumber(track, "carriage_mm"_L1, 0), 0.0, m_length);
        m_label = prims::valueText(track, "label"_L1);
        m_state = prims::readName(track, "state"_L1, u"idle"_s);
        m_marks.clear();
        for (const QJsonValue &v : prims::readArray(track, "marks"_L1, kMarkCap)) {
            const QJsonObject mark = v.toObject();
            m_marks.append({std::clamp(prims::readNumber(mark, "at_mm"_L1, 0), 0.0, m_length),
                            prims::valueText(mark, "label"_L1)});
        }
        // As tall as its wrapped texts: the label in its column, each mark's under the rail.
        const int labelH = prims::textSize(theme::uiFont(9, true), m_label, kLabelWidth).height();
        m_markH = 16;
        for (const Mark &m : std::as_const(m_marks))
            m_markH = std::max(m_markH, prims::textSize(theme::uiFont(8), m.label, kMarkWidth).height());
        setFixedHeight(std::max({kTrackHeight, labelH + 4, int(kRailY) + 10 + m_markH + 2}));
        update();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        const theme::Palette &p = theme::palette();
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal left = kLabelWidth + 8, right = width() - 14;
        const qreal span = std::max(1.0, right - left);
        const qreal railY = kRailY;
        const auto xOf = [&](double mm) { return left + span * mm / m_length; };

        painter.setFont(theme::uiFont(9, true));
        painter.setPen(p.muted);
        QTextOption wrapped(Qt::AlignLeft | Qt::AlignVCenter);
        wrapped.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        painter.drawText(QRectF(0, 0, kLabelWidth, height()), m_label, wrapped);
        painter.setPen(QPen(p.edge, 4, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(left, railY), QPointF(right, railY));
        painter.setFont(theme::uiFont(8));
        for (const Mark &m : std::as_const(m_marks)) {
            painter.setPen(QPen(p.dim, 1.5));
            painter.drawLine(QPointF(xOf(m.at), railY - 8), QPointF(xOf(m.at), railY + 8));
            painter.setPen(p.dim);
            QTextOption under(Qt::AlignTop);
            under.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
            painter.drawText(boxAt(xOf(m.at), railY + 10, m_markH, &under), m.label, under);
        }
        const QColor tone = theme::toneColor(m_state);
        const QRectF body(xOf(m_at) - 14, railY - 9, 28, 18);
        painter.setPen(QPen(tone.darker(130), 1.5));
        painter.setBrush(tone);
        painter.drawRoundedRect(body, 4, 4);
        painter.setPen(p.ink);
        const QString where = u"%1 mm"_s.arg(prims::valueText(QJsonValue(m_at)));
        QTextOption above(Qt::AlignBottom);
        painter.drawText(boxAt(body.center().x(), 0, railY - 10, &above), where, above);
    }

private:
    // A text box centred on x, or held inside the track at either end (clear of the label's
    // column), its text flush towards x; adds the horizontal alignment to `option`.
    QRectF boxAt(qreal x, qreal top, qreal height, QTextOption *option) const
    {
        const qreal centred = x - kMarkWidth / 2.0;
        const qreal leftmost = kLabelWidth + 2;
        const qreal held = std::clamp(centred, leftmost, std::max(leftmost, qreal(width() - kMarkWidth)));
        const Qt::Alignment h = held > centred + 0.5   ? Qt::AlignLeft
                                : held < centred - 0.5 ? Qt::AlignRight
                                                       : Qt::AlignHCenter;
        option->setAlignment(option->alignment() | h);
        return QRectF(held, top, kMarkWidth, height);
    }

    struct Mark
    {
        double at;
        QString label;
    };
    QJsonObject m_source;
    double m_length = 1000;
    double m_at = 0;
    QString m_label;
    QString m_state;
    QList<Mark> m_marks;
    int m_markH = 16;
};

SiteBoard::SiteBoard(const QJsonObject &payload, const render::Actions &actions, QWidget *parent)
    : QWidget(parent)
    , m_actions(actions)
{
    setObjectName(u"siteBoard"_s);
    build(payload);
    fill(payload);
}

QString SiteBoard::shapeOf(const QJsonObject &payload)
{
    // Rows, lanes, which tiles each row holds, which rows take drops and what their buttons do; the
    // rest (labels, states, notes, presses, lanes, the carriage's place) is content.
    QJsonArray shape{lanesOf(payload), payload.contains("title"_L1), payload.contains("track"_L1)};
    for (const QJsonValue &r : rowsOf(payload)) {
        const QJsonObject row = r.toObject();
        QJsonArray tiles;
        for (const QJsonValue &t : prims::readArray(row, "tiles"_L1, kTileCap)) {
            const QJsonObject tile = t.toObject();
            tiles.append(QJsonArray{prims::readText(tile, "id"_L1), prims::readName(tile, "kind"_L1)});
        }
        shape.append(QJsonArray{prims::readText(row, "id"_L1), !prims::readObject(row, "drop"_L1).isEmpty(),
                                prims::readArray(row, "actions"_L1, kActionCap), tiles});
    }
    return QString::fromUtf8(QJsonDocument(shape).toJson(QJsonDocument::Compact));
}

void SiteBoard::build(const QJsonObject &payload)
{
    const theme::Palette &p = theme::palette();
    m_shape = shapeOf(payload);
    m_lanes = lanesOf(payload);
    const int lanes = m_lanes;
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(10, 8, 10, 8);
    column->setSpacing(6);
    if (payload.contains("title"_L1)) {
        m_title = new QLabel(this);
        m_title->setTextFormat(Qt::PlainText);
        m_title->setFont(theme::uiFont(11, true));
        m_title->setStyleSheet(u"color:%1;"_s.arg(p.ink.name()));
        column->addWidget(m_title);
    }
    for (const QJsonValue &r : rowsOf(payload)) {
        const QJsonObject rowEl = r.toObject();
        Row row;
        row.row = new DropRow(this);
        row.row->setObjectName(u"row:"_s + prims::readText(rowEl, "id"_L1));
        row.row->setActions(m_actions);
        auto *line = new QHBoxLayout(row.row);
        line->setContentsMargins(0, 0, 0, 0);
        line->setSpacing(6);
        // The unit's words whole: wrapped, and a word wider than the column broken, never clipped.
        row.label = prims::textLabel(QString(), 9, p.muted, true, false, row.row);
        row.label->setFixedWidth(kLabelWidth);
        line->addWidget(row.label);
        auto *grid = new QGridLayout;
        grid->setSpacing(6);
        for (int lane = 0; lane < lanes; ++lane)
            grid->setColumnStretch(lane, 1);
        for (qsizetype t = prims::readArray(rowEl, "tiles"_L1, kTileCap).size(); t > 0; --t) {
            row.tiles.append(new Tile(row.row));
            row.lanes.append(-1); // placed by fill()
        }
        row.grid = grid;
        line->addLayout(grid, 1);
        for (const QJsonValue &a : prims::readArray(rowEl, "actions"_L1, kActionCap))
            line->addWidget(rowActionButton(a.toObject(), m_actions, row.row), 0, Qt::AlignVCenter);
        column->addWidget(row.row);
        m_rows.append(row);
    }
    if (payload.contains("track"_L1)) {
        m_track = new Track(this);
        column->addWidget(m_track);
    }
}

void SiteBoard::fill(const QJsonObject &payload)
{
    if (m_title)
        m_title->setText(prims::valueText(payload, "title"_L1));
    const QJsonArray rows = rowsOf(payload);
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        const QJsonObject rowEl = rows.at(i).toObject();
        m_rows[i].label->setText(prims::valueText(rowEl, "label"_L1));
        m_rows[i].row->setElement(prims::readObject(rowEl, "drop"_L1));
        const QJsonArray tiles = prims::readArray(rowEl, "tiles"_L1, kTileCap);
        Row &row = m_rows[i];
        int next = 0;
        for (qsizetype t = 0; t < row.tiles.size(); ++t) {
            const QJsonObject tileEl = tiles.at(t).toObject();
            // Tiles without a lane follow the one before them.
            const int lane = prims::readInt(tileEl, "lane"_L1, next, 0, m_lanes - 1);
            next = std::min(lane + 1, m_lanes - 1);
            if (row.lanes[t] != lane) {
                row.grid->removeWidget(row.tiles[t]);
                row.grid->addWidget(row.tiles[t], 0, lane);
                row.lanes[t] = lane;
            }
            row.tiles[t]->fill(tileEl, m_actions);
        }
    }
    if (m_track)
        m_track->fill(prims::readObject(payload, "track"_L1));
}

bool SiteBoard::update(const QJsonObject &payload)
{
    if (shapeOf(payload) != m_shape)
        return false;
    fill(payload);
    return true;
}

SiteBoard *siteBoard(const QJsonObject &payload, const render::Actions &actions, QWidget *parent)
{
    if (payload.isEmpty())
        return nullptr;
    return new SiteBoard(payload, actions, parent);
}

} // namespace board
