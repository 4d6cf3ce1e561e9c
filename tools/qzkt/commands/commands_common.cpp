// Pieces every command shares.
#include "commands/commands.h"

#include <qzkt/qzkt.h>

#include "cli/options.h"

void ApplyPrefsDir(const std::string& dir) {
    if (dir.empty()) return;
    qzkt_set_settings_folder(dir.c_str());
}
