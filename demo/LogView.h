// The demo's log page: follows the farm's log (the embedded master's own lines, --log-rate N
// per second, and the jobs' lines) in the text line viewer, with its search bar (Ctrl+F), copy,
// save and select all.
#pragma once

class wxWindow;

// Builds the page on `parent`.
wxWindow* CreateLogView(wxWindow* parent);
