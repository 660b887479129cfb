// Keys typed on the real keyboard into the window's fields: the window's own keys still reach the
// router from any field, and the picker's field types the name that narrows the list.

#include "support/testsupport.h"
#include "ui/mainwindow.h"
#include "ui/openpanels.h"
#include "ui/welcomeview.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A key from the keyboard: through the application, as its event filters see it.
void type(QWidget& widget, int key, Qt::KeyboardModifiers modifiers = {}, const QString& text = {})
{
    QKeyEvent press(QEvent::KeyPress, key, modifiers, text);
    QApplication::sendEvent(&widget, &press);
}

} // namespace

TEST(KeyFocus, TheWindowsKeysWorkFromTheWelcomeScreensPathField)
{
    AppState state(nullptr, false);
    MainWindow window(state);
    WelcomeView* welcome = window.findChild<WelcomeView*>();
    ASSERT_NE(welcome, nullptr);
    QLineEdit& path = *welcome->pathField();
    window.show();
    window.activateWindow();
    path.setText(u"/some/where"_s);
    path.setFocus();
    ASSERT_TRUE(waitFor([&] { return QApplication::focusWidget() == &path; }, 5000));

    type(path, Qt::Key_A, {}, u"a"_s);
    EXPECT_FALSE(state.panels().showPicker()) << "a letter is typed";
    type(path, Qt::Key_O, Qt::ControlModifier, u"\x0f"_s);
    EXPECT_TRUE(state.panels().showPicker());
    type(path, Qt::Key_D, Qt::ControlModifier, u"\x04"_s);
    EXPECT_TRUE(state.panels().showRemote());
    EXPECT_FALSE(state.panels().showPicker());
    type(path, Qt::Key_F11);
    EXPECT_TRUE(state.panels().fullScreen());
}

TEST(KeyFocus, ThePickersFieldTypesTheNameAndLeavesTheArrowsToTheList)
{
    TempFolder folders;
    folders.makeFolder(u"alpha"_s);
    folders.makeFolder(u"beta"_s);
    folders.makeFolder(u"betamax"_s);
    AppState state(nullptr, false);
    MainWindow window(state);
    window.show();
    window.activateWindow();
    state.showFolderPicker();
    state.picker().showFolder(folders.path());
    QLineEdit* field = window.findChild<FolderPickerPanel*>()->field();
    ASSERT_TRUE(waitFor([&] { return QApplication::focusWidget() == field; }, 5000))
        << "the picker takes the keyboard";

    type(*field, Qt::Key_B, {}, u"b"_s);
    type(*field, Qt::Key_M, {}, u"m"_s);
    EXPECT_EQ(state.picker().filter(), u"bm"_s);
    ASSERT_EQ(state.picker().entries().size(), 1);
    type(*field, Qt::Key_Backspace);
    EXPECT_EQ(state.picker().filter(), u"b"_s) << "Backspace erases the name first";
    type(*field, Qt::Key_Down);
    EXPECT_EQ(state.picker().highlighted()->name, u"betamax"_s);
    type(*field, Qt::Key_Backspace);
    type(*field, Qt::Key_Backspace);
    EXPECT_EQ(state.picker().path(), QFileInfo(folders.path()).path()) << "then goes back";
}

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    useOwnSettings();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
