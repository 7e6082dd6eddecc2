#pragma once
// The window layer: the main window, its dialogs and the Qt implementation of the prompts.
