#pragma once

#include "state/actions.h"

#include <QList>
#include <QPair>
#include <QString>

#include <optional>

class AppState;

// One key-down as the router reads it: the key code, the characters it typed (with Shift's
// effect, so Shift-/ is "?"), and the modifiers. Command is Qt::ControlModifier, Control
// Qt::MetaModifier, Option Qt::AltModifier.
struct KeyPress {
    int key = 0;
    QString text;
    Qt::KeyboardModifiers modifiers;
};

// Turns key presses into actions and performs them on the state. The layer that owns a key is
// decided from the state: the capture overlay, the key sheet, the folder picker, the download
// entry, the window's own Command keys, the search field, a running scan, the welcome list, the
// scene's Command keys, a structure outline, and last the scene. Buttons and
// menus perform the same actions, so each action has one implementation.
class KeyRouter {
public:
    explicit KeyRouter(AppState& state);

    // The action a key stands for in the state as it is now; none when no layer takes the key.
    std::optional<Action> route(const KeyPress& key) const;
    // Routes and performs; false when the key was not taken and should pass on to the views.
    bool handle(const KeyPress& key);
    // Runs one action; false when it did not apply. An action whose part of the program is not
    // there yet says so in the window's message.
    bool perform(Action action);
    // The same by the action's name; false for a name no action has.
    bool perform(const QString& name);
    // Whether the name is an action that has an implementation.
    static bool knows(const QString& name);

    // The window's own keys (choosing or downloading a folder, closing it, full screen), which work
    // over everything but the key sheet and the capture, typing fields included.
    static std::optional<Action> windowAction(const KeyPress& press);

    // The scene's keys and what each does, in the order the key sheet lists them: actions that
    // work, with those sharing a description on one row.
    static QList<QPair<QString, QString>> sceneKeys();

private:
    std::optional<Action> pickerAction(const KeyPress& press) const;
    std::optional<Action> remoteAction(const KeyPress& press) const;
    std::optional<Action> searchAction(const KeyPress& press) const;
    std::optional<Action> previewAction(const KeyPress& press) const;
    // The keys the preview's view answers itself while it holds the keys.
    static bool previewOwns(const KeyPress& press);
    std::optional<Action> welcomeAction(const KeyPress& press) const;
    std::optional<Action> outlineAction(const KeyPress& press) const;
    std::optional<Action> sceneAction(const KeyPress& press) const;

    // Each group performs its own actions and returns none for the others.
    std::optional<bool> performNavigation(Action action);
    std::optional<bool> performCamera(Action action);
    std::optional<bool> performDisplay(Action action);
    std::optional<bool> performHistory(Action action);
    std::optional<bool> performPanels(Action action);
    bool performPreview(Action action);
    std::optional<bool> performFilters(Action action);
    std::optional<bool> performFolder(Action action);

    AppState& m_state;
};
