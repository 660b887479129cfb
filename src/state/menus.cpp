#include "state/menus.h"

const std::vector<MenuSection>& menuSections()
{
    static const std::vector<MenuSection> sections {
        { "File",
            { { "Choose a Folder in the Window…", Action::picker },
                { "Download a Repository…", Action::remote }, { "Close Folder", Action::closeFolder } } },
        { "View",
            { { "City", Action::city }, { "Tree", Action::tree }, { "History", Action::history },
                { "Imports Graph", Action::graph }, { "Next", Action::color, "Colour" },
                { "Previous", Action::colorBack, "Colour" }, { "Next", Action::height, "Height" },
                { "Previous", Action::heightBack, "Height" }, { "Dark or Light Theme", Action::theme },
                { "Perspective or Flat", Action::perspective }, { "Folder Rail", Action::rail },
                { "Details Drawer", Action::drawer }, { "Wide Details Drawer", Action::wideDrawer },
                { "Full Screen", Action::fullScreen }, { "Preview", Action::preview },
                { "Minimap", Action::minimap, "Preview" }, { "Bytes in Hex", Action::hex, "Preview" },
                { "Source of What Is Rendered", Action::raw, "Preview" },
                { "Next Hit", Action::previewNextHit, "Preview" },
                { "Previous Hit", Action::previewPreviousHit, "Preview" }, { "Search", Action::search },
                { "Clear Filters", Action::clearFilters } } },
        { "Go",
            { { "Enter", Action::enter }, { "Up a Level", Action::ascend },
                { "Into the Folder", Action::dive }, { "Next Sibling", Action::nextSibling },
                { "Previous Sibling", Action::prevSibling }, { "Frame the Selection", Action::frame },
                { "Follow the Selection", Action::autoFrame }, { "Show Everything", Action::home },
                { "Zoom In", Action::zoomIn }, { "Zoom Out", Action::zoomOut },
                { "Outline of the File", Action::structure }, { "Open with Its Program", Action::open },
                { "Show in the File Manager", Action::reveal } } },
        { "History",
            { { "Play or Pause", Action::play }, { "One Commit Back", Action::commitBack },
                { "One Commit On", Action::commitOn }, { "Ten Commits Back", Action::commitBack10 },
                { "Ten Commits On", Action::commitOn10 }, { "The Start", Action::commitStart },
                { "The Middle Commit", Action::commitMid }, { "The Last Commit", Action::commitEnd } } },
        { "Help", { { "Keys", Action::keys } } },
    };
    return sections;
}
