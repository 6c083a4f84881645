#pragma once
// The panel on the left of the main window: the product mark, a search box, the known units with
// a status pill each, a footer with counts, the site passcode with "Unlock", and the tool menu.
// It shows what the session knows and turns the technician's choices into signals; it sends
// nothing to units itself.

#include "units/store.h"

#include <QHash>
#include <QList>
#include <QWidget>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QToolButton;

namespace window {

// The pill a unit shows, chosen in order: offline, locked out, the session's own mark (a
// certificate change, an unreachable unit), not signed in, then what the unit reports.
struct Pill
{
    QString text;
    QString tone;
};
Pill pillFor(const units::Unit &unit, bool signedIn, int lockSecondsLeft, const Pill &mark);

// The type mark's colour: by the product named as a whole word, ignoring case.
QString typeColour(const QString &type);

class Sidebar final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Sidebar)

public:
    explicit Sidebar(QWidget *parent = nullptr);

    void setUnits(const QList<units::Unit> &units);
    // The session's own mark for a unit ("CERTIFICATE CHANGED", "UNREACHABLE"...); an empty text
    // clears it, so the unit's own state shows again.
    void setStatus(const QString &key, const QString &text, const QString &tone);
    void setSignedIn(const QString &key, bool signedIn);
    void setLockSeconds(const QString &key, int seconds);
    // True while no discovery sweep has ended yet.
    void setScanning(bool scanning);
    // Marks the unit whose screen is shown (no signal).
    void setCurrent(const QString &key);
    // The tools the window can run; the menu button shows only when there is one.
    void setTools(const QStringList &names);

    // The passcode as last entered (Enter or "Unlock"), not what the box holds while typing.
    QString passcode() const;
    // Puts a new site passcode in the box (after "Change site passcode...").
    void setPasscode(const QString &passcode);
    // Draws the panel again in the palette in force (after "Appearance...").
    void restyle();
    // The pill shown for a unit (for the window's tests and the phone page).
    Pill pill(const QString &key) const;

signals:
    void unitChosen(const QString &key);
    void passcodeEntered();
    void tool(const QString &name);
    // Beyond the three: a unit added by address, and one taken off the list.
    void addRequested(const QString &ip, int port);
    void removeRequested(const QString &key);

private:
    void applySheets();
    void rebuildRows();
    void fitRows();
    bool eventFilter(QObject *watched, QEvent *event) override;
    void updatePill(const QString &key);
    void applyFilter();
    void updateFooter();
    void askForAddress();
    QWidget *rowWidget(const units::Unit &unit) const;

    QList<units::Unit> m_units;
    QHash<QString, Pill> m_marks;
    QHash<QString, bool> m_signedIn;
    QHash<QString, int> m_lockSeconds;
    bool m_scanning = true;
    QString m_current;

    QLineEdit *m_search;
    QStackedWidget *m_stack;
    QListWidget *m_list;
    QLabel *m_emptyTitle;
    QLabel *m_emptyText;
    QLabel *m_footer;
    QPushButton *m_remove;
    QToolButton *m_tools;
    QLineEdit *m_passcode;
    QString m_entered;
};

} // namespace window
