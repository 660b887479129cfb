#pragma once

#include <QObject>
#include <QString>

#include <memory>

class FileNode;

// The folder a window shows, as the controllers learn of it.
struct OpenFolder {
    // Null once the folder is closed. Shared, so that background work on the tree keeps it alive
    // until the work has stopped.
    std::shared_ptr<const FileNode> root;
    bool isGit = false;
};

// One concern of the window's state (the display, the panels, the filters …), owned by the
// AppState. It keeps its own fields and announces them with its own signals; the state tells it,
// in the order the controllers were made, when a new folder has arrived or the folder was closed,
// before the views hear of the new root.
class StateController : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // The root is already the new one; the views have not been told yet.
    virtual void folderChanged(const OpenFolder& folder);

signals:
    // A request the controller could not carry out, in one sentence for the window's message.
    void refused(const QString& message);

protected:
    // Sets a field and announces it, when it changes.
    template <typename T, typename Owner> void assign(T& field, const T& value, void (Owner::*changed)())
    {
        if (field == value)
            return;
        field = value;
        emit(static_cast<Owner*>(this)->*changed)();
    }
};
