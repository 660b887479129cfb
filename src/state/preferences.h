#pragma once

#include <QByteArray>
#include <QObject>

#include <optional>

class AppState;

// How the user left the window (theme, colour and height modes, rail, drawer and its width, preview
// and minimap, the window's own place and size), restored at the next start and written to the
// settings file as it changes. A settings file that cannot be used leaves everything at its default
// and is never written.
class Preferences : public QObject {
    Q_OBJECT

public:
    // Restores the state's display and panels from the file and follows them from then on.
    explicit Preferences(AppState& state, QObject* parent = nullptr);

    // Why the settings file cannot be used, if it cannot.
    const std::optional<QString>& problem() const { return m_problem; }
    // The window's place and size as QWidget::saveGeometry gave them, when remembered.
    QByteArray windowGeometry() const;
    void rememberWindowGeometry(const QByteArray& geometry);

private:
    void restore(AppState& state);
    void follow(AppState& state);
    void write(const QString& key, const QVariant& value);

    std::optional<QString> m_problem;
};
