// The demo's colours page: the themed buttons, check boxes and radio buttons, the palette and
// the renderer's drawings, with a choice of the five colour schemes applied live.
#pragma once

class wxWindow;

// Builds the page on `parent`. Loads the colour scheme when none is loaded yet, and installs
// the palette renderer when the application's traits did not.
wxWindow* CreateColorsView(wxWindow* parent);

// Makes the palette renderer the application's renderer unless it already is.
void InstallColorsRenderer();
