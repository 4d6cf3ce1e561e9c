// Pieces every command shares.
#include "commands.h"

#include <qzkt/qzkt.h>

#include "options.h"

void ApplyPrefsDir(const std::string& dir) {
    if (dir.empty()) return;
    qzkt_set_settings_folder(dir.c_str());
}
