#pragma once
// "timeline": events in order down a rail, each a dot in its tone, its time at the left, its text
// and an optional detail line; a Qt list view with a painting delegate, selectable and copyable
// like the other item views, and an event's "click" posts.

#include "prims/registry.h"

#include <QJsonObject>
#include <QStyledItemDelegate>

class QWidget;

namespace prims {

inline constexpr int kMaxTimelineItems = 500;

// Paints one event: time, rail and dot, text and detail.
class TimelineDelegate final : public QStyledItemDelegate
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TimelineDelegate)

public:
    // The data roles an event keeps beside its text (Qt::DisplayRole).
    static constexpr int kTimeRole = Qt::UserRole + 10;
    static constexpr int kDetailRole = Qt::UserRole + 11;
    static constexpr int kToneRole = Qt::UserRole + 12;

    explicit TimelineDelegate(QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    // Width of the time column at the left.
    int timeWidth() const { return m_timeWidth; }
    void setTimeWidth(int width) { m_timeWidth = width; }

private:
    int m_timeWidth = 0;
};

QWidget *buildTimeline(const QJsonObject &element, const Callbacks &cb, QWidget *parent);

} // namespace prims
