// The compressor's settings dialog as the library shows it. The compressor's compression popup
// has three choices and shows "DXT24, no LZF" whenever no-LZF is set; confirmed, it keeps
// no-LZF when 1 or 2 is chosen and turns DXT1 without LZF into DXT24. The library's dialog
// gives the popup a fourth choice, "DXT1, no LZF", shows it for that saved combination, and
// saves what the popup says when the person confirms: 1 DXT24 + LZF, 2 DXT1 + LZF, 3 DXT24
// without LZF, 4 DXT1 without LZF. Every saved combination comes back as itself, and a choice
// is never changed in silence. The compressor's own dialog (HostRequestCompressorSettings) is
// unchanged.
#pragma once

#include "host_compression.h"

// Shows the dialog with the settings the compressor holds (from the settings file). On OK,
// *confirmed is true and *settings holds the choices as above (the compressor has saved its
// reading of them; the caller saves these where they differ); on cancel, the settings as they
// were.
OSStatus HostRequestSettingsAsChosen(KELSettingsValues* settings, bool* confirmed);
