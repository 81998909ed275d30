/// @file
/// Text conversion at the toolkit boundary: the farm's byte strings (String) to and from the
/// toolkit's wxString, through the locale's character conversion.
///
/// A control that only converts text includes this header rather than the application's.
#pragma once

#include <ostrum/String.h>

#include <wx/string.h>

/// @ingroup app
/// The toolkit's text as a farm string, in the locale's encoding (UTF-8 when the locale cannot
/// represent the text).
String wxToString(const wxString& text);

/// @ingroup app
/// A farm string as toolkit text, read in the locale's encoding (as UTF-8 when it is not valid
/// in that encoding).
wxString wxFromString(const String& text);
