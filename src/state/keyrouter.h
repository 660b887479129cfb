#pragma once

#include <QHash>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <functional>

class AppState;

// One key-down as the router reads it: the key code, the characters it typed (with Shift's
// effect, so Shift-/ is "?"), and the modifiers. Command is Qt::ControlModifier, Control
// Qt::MetaModifier, Option Qt::AltModifier.
struct KeyPress {
    int key = 0;
    QString text;
    Qt::KeyboardModifiers modifiers;
};

// Turns key presses into named actions and performs them on the state. The layer that owns a key
// is decided from the state: the capture overlay, the folder picker, the search field, the welcome
// list, a running scan, Command shortcuts, a structure outline, and last the scene. Menus perform
// the same names, so each action has one implementation.
class KeyRouter {
public:
    explicit KeyRouter(AppState& state);

    // The action a key stands for in the state as it is now; empty when no layer takes the key.
    QString route(const KeyPress& key) const;
    // Routes and performs; false when the key was not taken and should pass on to the views.
    bool handle(const KeyPress& key);
    // Runs one named action; false when it did not apply (or its part of the program is absent).
    bool perform(const QString& action);
    bool knows(const QString& action) const { return m_actions.contains(action); }

    // The scene's keys and what each does, in the order the key sheet lists them.
    static QList<QPair<QString, QString>> sceneKeys();

private:
    QString sceneAction(const KeyPress& key) const;

    AppState& m_state;
    QHash<QString, std::function<bool()>> m_actions;
};
