// The demo's log page: follows the farm's log (the embedded master's own lines, --log-rate N
// per second, and the jobs' lines) in the text line viewer, with its search bar (Ctrl+F), copy,
// save and select all.
#pragma once

#include <ostrum/String.h>

#include <vector>

class wxString;
class wxWindow;

// Builds the page on `parent`.
wxWindow* CreateLogView(wxWindow* parent);
// The lines of the page (made by CreateLogView) that hold `text`, in order.
std::vector<String> FindLogLines(wxWindow* logView, const String& text);
// Opens the page's search bar with `text` in it and, with `search`, looks for it downwards.
void ShowLogSearch(wxWindow* logView, const wxString& text, bool search);
