// qzkt play needs the qzkt GStreamer plugin (qzktdec). The plugin that came with this tool is
// the one to use: in the build tree it is in gst/ beside tools/, installed it is in the
// prefix's GStreamer folder, which GStreamer does not search when the prefix is not /usr.
#pragma once

// Puts the folder of the plugin that came with the tool first in GST_PLUGIN_PATH, when it is
// there; call before gst_init.
void PreferPluginBesideTool();
