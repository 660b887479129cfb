#pragma once

#include "state/actions.h"

#include <string_view>
#include <vector>

// The window's menus as data: each item performs one of the key router's actions, so that a menu
// and its key do the same thing, and shows that key beside it. The window adds what is its own
// (opening a folder, the recent folders, quitting, the About box).
struct MenuEntry {
    std::string_view title;
    Action action;
    // The submenu of its menu the item goes in, when it goes in one.
    std::string_view submenu = {};
};

struct MenuSection {
    // No mnemonic: Alt with a letter is that letter's action, as it is for the keys.
    std::string_view title;
    std::vector<MenuEntry> entries;
};

const std::vector<MenuSection>& menuSections();
