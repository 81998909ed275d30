// The demo's colours page: the themed buttons, check boxes and radio buttons, the palette and
// the renderer's drawings, with a choice of the five colour schemes applied live.
#pragma once

class wxWindow;

// Builds the page on `parent`. Loads the colour scheme when none is loaded yet, and installs
// the palette renderer when the application's traits did not.
wxWindow* CreateColorsView(wxWindow* parent);

// Applies a scheme (1 Light, 2 Lighter, 3 Dark, 4 Darker, 5 Custom; any other number shows
// Dark) and recolours every open window: `top`, its children and every other top-level window.
// Saves nothing: the choice holds for this run.
void ApplyColorScheme(wxWindow* top, int scheme);

// Makes the palette renderer the application's renderer unless it already is.
void InstallColorsRenderer();
