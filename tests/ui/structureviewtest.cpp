// The views of a file walked into, in a shown window: the flow's reach and its empty states, the
// treemap and the links following the one focus.

#include "support/testsupport.h"
#include "ui/mainwindow.h"
#include "ui/structureviews.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// a → b → c → d in a chain, and e alone.
const QByteArray chain = "function a() { b(); }\nfunction b() { c(); }\nfunction c() { d(); }\n"
                         "function d() { return 1; }\nfunction e() { return 2; }\n";

class Walked {
public:
    explicit Walked(const QByteArray& script)
    {
        folder.write(u"app.js"_s, script);
        window.show();
        state.open(folder.path());
        EXPECT_TRUE(waitFor([&] { return state.root() && state.scan().idle(); }));
        state.select(state.root()->find(u"app.js"_s));
        EXPECT_TRUE(state.toggleStructure(state.selection()));
        EXPECT_TRUE(waitFor([&] { return state.structure().document() != nullptr; }));
    }
    qsizetype part(const QString& name) const { return *state.structure().document()->definition(name); }
    QPushButton* button(const QString& text) const
    {
        for (QPushButton* button : window.findChildren<QPushButton*>()) {
            if (button->text() == text)
                return button;
        }
        return nullptr;
    }
    bool says(const QString& text) const
    {
        for (QLabel* label : window.findChildren<QLabel*>()) {
            if (label->isVisible() && label->text() == text)
                return true;
        }
        return false;
    }

    TempFolder folder;
    AppState state { nullptr, false };
    MainWindow window { state };
};

} // namespace

TEST(StructureViews, TheFlowFollowsMoreOrFewerCallsFromTheFocus)
{
    Walked walked(chain);
    walked.state.panels().setStructureTab(StructureTab::flow);
    const StructureFlow* flow = walked.window.findChild<StructureFlow*>();
    ASSERT_NE(flow, nullptr);
    EXPECT_EQ(flow->graph().boxes.size(), 4u) << "the whole file: the chain, not the lone function";

    walked.state.structure().setFocus(walked.part(u"a"_s));
    EXPECT_EQ(flow->reach(), FlowGraph::defaultReach);
    EXPECT_EQ(flow->graph().boxes.size(), 3u) << "a and two calls on";
    walked.button(u"Follow more calls"_s)->click();
    EXPECT_EQ(flow->graph().boxes.size(), 4u);
    walked.button(u"Follow fewer calls"_s)->click();
    walked.button(u"Follow fewer calls"_s)->click();
    EXPECT_EQ(flow->reach(), 1);
    EXPECT_EQ(flow->graph().boxes.size(), 2u);
    EXPECT_FALSE(walked.button(u"Follow fewer calls"_s)->isEnabled()) << "one call is the least";

    walked.state.structure().setFocus(walked.part(u"e"_s));
    EXPECT_TRUE(walked.says(u"Nothing calls this and it calls nothing the file defines."_s));
}

TEST(StructureViews, AFileWithoutCallsSaysThereIsNoFlow)
{
    Walked walked("function a() { return 1; }\nfunction b() { return 2; }\n");
    walked.state.panels().setStructureTab(StructureTab::flow);
    EXPECT_TRUE(walked.says(u"No calls between the functions here, so there is no flow to draw."_s));
}

// The links of the focus, out and in by kind, each leading on to the part at its other end.
TEST(StructureViews, TheLinksOfTheFocusLeadOnToTheirOtherEnds)
{
    Walked walked(chain);
    walked.state.panels().setStructureTab(StructureTab::links);
    const QTreeWidget* list = walked.window.findChild<StructureLinks*>()->findChild<QTreeWidget*>();
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->topLevelItemCount(), 1) << "without a focus, the counts by kind";
    EXPECT_EQ(list->topLevelItem(0)->text(0), u"calls"_s);
    EXPECT_EQ(list->topLevelItem(0)->text(1), u"3"_s);

    walked.state.structure().setFocus(walked.part(u"b"_s));
    ASSERT_EQ(list->topLevelItemCount(), 2);
    const QTreeWidgetItem* out = list->topLevelItem(0)->child(0)->child(0);
    const QTreeWidgetItem* in = list->topLevelItem(1)->child(0)->child(0);
    EXPECT_EQ(out->text(0), u"c"_s);
    EXPECT_EQ(in->text(0), u"a"_s);
    emit const_cast<QTreeWidget*>(list)->itemClicked(const_cast<QTreeWidgetItem*>(out), 0);
    EXPECT_EQ(walked.state.structure().focusedNode()->name, u"c"_s);
}
