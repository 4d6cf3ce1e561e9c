// qzkt play's GStreamer pipeline and its main loop. Per layer:
//   filesrc ! qtdemux ! queue ! qzktdec ! (glvideomixer's pad at the layer's place | glimagesink)
//   qtdemux ! queue ! decodebin ! audioconvert ! audioresample ! (audiomixer | autoaudiosink)
// with one glimagesink (or the fullscreen window's) and one audio sink for all layers.
#include "play/player.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <sys/resource.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <glib-unix.h>
#include <gst/gst.h>
#include <gst/video/navigation.h>
#include <gst/video/videooverlay.h>

#include "cli/tool_error.h"
#include "media/movie_probe.h"
#include "play/fullscreen_window.h"
#include "play/play_keys.h"
#include "play/play_layout.h"

namespace {

// How long the pipeline may take to show its first frame before qzkt play gives up.
const unsigned kStartSeconds = 30;
const double kSeekSeconds = 5, kLongSeekSeconds = 60;

double SteadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double ProcessCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The terminal in raw mode (keys arrive one by one, unechoed) while the player runs, when
// standard input is the terminal of the foreground job.
class RawTerminal {
  public:
    RawTerminal() {
        if (!isatty(STDIN_FILENO) || tcgetpgrp(STDIN_FILENO) != getpgrp()) return;
        if (tcgetattr(STDIN_FILENO, &saved_) != 0) return;
        termios raw = saved_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        active_ = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
    }
    ~RawTerminal() {
        if (active_) tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
    }
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;

  private:
    termios saved_{};
    bool active_ = false;
};

std::string TimeText(gint64 nanoseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s",
                  static_cast<double>(std::max<gint64>(nanoseconds, 0)) / GST_SECOND);
    return text;
}

class Player {
  public:
    Player(const std::vector<PlayLayer>& layers, const PlaySettings& settings);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    PlayResult Run();

  private:
    struct Chain {
        Player* player = nullptr;
        size_t index = 0;
        GstElement* videoQueue = nullptr;
        GstElement* decoder = nullptr;
        GstElement* audioQueue = nullptr;       // nullptr: no audio from this layer
        GstElement* audioConvert = nullptr;     // decodebin's output goes here
        std::vector<GstElement*> audioElements; // the audio branch, queue to resampler
        bool videoLinked = false, audioLinked = false;
        std::string audioCaps;
        // The CPU clock of the thread that runs the decoder, from its first frame on.
        std::atomic<bool> decoderThreadKnown{false};
        clockid_t decoderThread{}; // caps GStreamer cannot decode, for the note
    };

    GstElement* Make(const char* factory, const std::string& name);
    void Build();
    void BuildLayer(size_t index, GstElement* videoSink, GstElement* audioSink);
    void Do(PlayAction action);
    void Seek(gint64 position);
    gint64 Position() const;
    void Pause(bool paused);
    void Fail(const std::string& message);
    void Quit(int status);
    std::string LayerOf(GstObject* source) const;
    PlayResult Snapshot() const;

    static void OnDemuxPad(GstElement* demux, GstPad* pad, gpointer data);
    static void OnDecodedAudio(GstElement* decodebin, GstPad* pad, gpointer data);
    static gboolean OnBus(GstBus* bus, GstMessage* message, gpointer data);
    static GstBusSyncReply OnBusSync(GstBus* bus, GstMessage* message, gpointer data);
    static GstPadProbeReturn OnDecoderBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer data);
    static GstPadProbeReturn OnSinkBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer data);
    static GstPadProbeReturn OnNavigation(GstPad* pad, GstPadProbeInfo* info, gpointer data);
    static gboolean OnStdin(gint fd, GIOCondition condition, gpointer data);
    static gboolean OnWindow(gint fd, GIOCondition condition, gpointer data);
    static gboolean OnStartTimeout(gpointer data);
    static gboolean OnSignal(gpointer data);
    static gboolean OnKeyIdle(gpointer data);
    static gboolean OnAudioUndecodable(gpointer data);
    void DropAudio(Chain* chain);

    const std::vector<PlayLayer>& layers_;
    const PlaySettings settings_;
    std::unique_ptr<FullscreenWindow> window_;
    GMainLoop* loop_ = nullptr;
    GstElement* pipeline_ = nullptr;
    GstElement* videoSink_ = nullptr;
    GstElement* audioSink_ = nullptr;  // nullptr: no audio
    GstElement* audioMixer_ = nullptr; // with audio from several layers
    int audioBranches_ = 0;
    std::vector<std::unique_ptr<Chain>> chains_;
    TerminalKeys terminalKeys_;

    int status_ = 0;
    bool started_ = false, paused_ = false, loop_on_ = false, quitting_ = false;
    std::map<std::string, guint64> droppedBy_; // QoS: each element's latest count
    guint64 sinkDropped_ = 0;

    mutable std::mutex arrivalsLock_;
    std::vector<double> arrivals_; // benchmark only
    std::atomic<uint64_t> frames_{0};
    double firstFrame_ = 0; // steady seconds, 0 until the first frame
    double cpuStart_ = 0;
    struct CpuTimes {
        double process = 0, decoders = 0;
    };
    CpuTimes CpuNow() const;
    CpuTimes markCpu_, lastCpu_; // benchmark: at the first measured frame and at the last
};

struct KeyPress {
    Player* player;
    PlayAction action;
};

Player::Player(const std::vector<PlayLayer>& layers, const PlaySettings& settings)
    : layers_(layers), settings_(settings), loop_on_(settings.loop) {
    if (settings_.fullscreen) window_.reset(new FullscreenWindow);
    loop_ = g_main_loop_new(nullptr, FALSE);
    Build();
}

Player::~Player() {
    if (pipeline_ != nullptr) {
        gst_element_set_state(pipeline_, GST_STATE_NULL);
        gst_object_unref(pipeline_);
    }
    g_main_loop_unref(loop_);
}

GstElement* Player::Make(const char* factory, const std::string& name) {
    GstElement* element = gst_element_factory_make(factory, name.c_str());
    if (element != nullptr) return element;
    if (std::string(factory) == "qzktdec")
        throw ToolError(
            "GStreamer cannot find qzktdec, the qzkt plugin (libgstqzkt.so): install qzkt, or put "
            "the plugin's folder in GST_PLUGIN_PATH");
    if (std::string(factory).compare(0, 2, "gl") == 0)
        throw ToolError(std::string("GStreamer has no ") + factory + ": install gstreamer1.0-gl");
    throw ToolError(std::string("GStreamer has no ") + factory +
                    ": install gstreamer1.0-plugins-good and -base");
}

void Player::Build() {
    pipeline_ = gst_pipeline_new("qzkt-play");
    videoSink_ = Make("glimagesink", "video-sink");
    g_object_set(videoSink_, "sync", settings_.benchmark ? FALSE : TRUE, nullptr);
    // Screens have square pixels; the millimetres an X server reports (Xvfb's among them) are
    // often rounded, and the sink would scale every frame by their ratio: the window is at
    // the movie's size, pixel for pixel.
    gst_util_set_object_arg(G_OBJECT(videoSink_), "pixel-aspect-ratio", "1/1");
    gst_bin_add(GST_BIN(pipeline_), videoSink_);

    GstElement* videoTarget = videoSink_;
    if (layers_.size() > 1) {
        videoTarget = Make("glvideomixer", "video-mixer");
        gst_bin_add(GST_BIN(pipeline_), videoTarget);
        if (!gst_element_link(videoTarget, videoSink_))
            throw ToolError("cannot link glvideomixer to glimagesink");
    }
    GstElement* audioTarget = nullptr;
    const bool anyAudio =
        settings_.audio && !settings_.benchmark &&
        std::any_of(layers_.begin(), layers_.end(), [](const PlayLayer& l) { return l.hasAudio; });
    if (anyAudio) {
        audioTarget = audioSink_ = Make("autoaudiosink", "audio-sink");
        gst_bin_add(GST_BIN(pipeline_), audioTarget);
        const auto withAudio =
            std::count_if(layers_.begin(), layers_.end(), [](const PlayLayer& l) { return l.hasAudio; });
        if (withAudio > 1) {
            GstElement* mixer = Make("audiomixer", "audio-mixer");
            gst_bin_add(GST_BIN(pipeline_), mixer);
            if (!gst_element_link(mixer, audioTarget))
                throw ToolError("cannot link audiomixer to the audio sink");
            audioTarget = audioMixer_ = mixer;
        }
    }
    for (size_t i = 0; i < layers_.size(); ++i)
        BuildLayer(i, videoTarget, audioTarget);

    // Keys pressed in the video window come up from the sink as navigation events.
    GstPad* sinkPad = gst_element_get_static_pad(videoSink_, "sink");
    GstPad* upstream = gst_pad_get_peer(sinkPad);
    if (upstream != nullptr) {
        gst_pad_add_probe(upstream, GST_PAD_PROBE_TYPE_EVENT_UPSTREAM, OnNavigation, this, nullptr);
        gst_object_unref(upstream);
    }
    gst_pad_add_probe(sinkPad, GST_PAD_PROBE_TYPE_BUFFER, OnSinkBuffer, this, nullptr);
    gst_object_unref(sinkPad);
}

void Player::BuildLayer(size_t index, GstElement* videoTarget, GstElement* audioTarget) {
    const PlayLayer& layer = layers_[index];
    const std::string prefix = "layer" + std::to_string(index + 1) + "-";
    auto chain = std::make_unique<Chain>();
    chain->player = this;
    chain->index = index;
    GstElement* source = Make("filesrc", prefix + "source");
    GstElement* demux = Make("qtdemux", prefix + "demux");
    chain->videoQueue = Make("queue", prefix + "video-queue");
    chain->decoder = Make("qzktdec", prefix + "decoder");
    g_object_set(source, "location", layer.path.c_str(), nullptr);
    g_object_set(chain->decoder, "gl-memory", settings_.glMemory ? TRUE : FALSE, nullptr);
    gst_util_set_object_arg(G_OBJECT(chain->decoder), "dxt24-decoding", settings_.dxt24.c_str());
    gst_util_set_object_arg(G_OBJECT(chain->decoder), "s3tc-decoding", settings_.s3tc.c_str());
    gst_bin_add_many(GST_BIN(pipeline_), source, demux, chain->videoQueue, chain->decoder, nullptr);
    if (!gst_element_link(source, demux) || !gst_element_link(chain->videoQueue, chain->decoder))
        throw ToolError("cannot link the elements that read " + layer.path);

    if (videoTarget == videoSink_) {
        if (!gst_element_link(chain->decoder, videoSink_))
            throw ToolError("cannot link qzktdec to glimagesink");
    } else {
        std::vector<LayerPlace> sizes;
        for (const PlayLayer& each : layers_)
            sizes.push_back({0, 0, each.width, each.height});
        const LayerPlace place = PlaceLayers(sizes).places[index];
        GstPad* mixerPad = gst_element_request_pad_simple(videoTarget, "sink_%u");
        g_object_set(mixerPad, "xpos", place.x, "ypos", place.y, "width", place.width, "height", place.height,
                     nullptr);
        GstPad* decoderPad = gst_element_get_static_pad(chain->decoder, "src");
        const bool linked = gst_pad_link(decoderPad, mixerPad) == GST_PAD_LINK_OK;
        gst_object_unref(decoderPad);
        gst_object_unref(mixerPad);
        if (!linked) throw ToolError("cannot link qzktdec to glvideomixer");
    }

    if (audioTarget != nullptr && layer.hasAudio) {
        chain->audioQueue = Make("queue", prefix + "audio-queue");
        GstElement* decodebin = Make("decodebin", prefix + "audio-decoder");
        chain->audioConvert = Make("audioconvert", prefix + "audio-convert");
        GstElement* resample = Make("audioresample", prefix + "audio-resample");
        gst_bin_add_many(GST_BIN(pipeline_), chain->audioQueue, decodebin, chain->audioConvert, resample,
                         nullptr);
        if (!gst_element_link(chain->audioQueue, decodebin) ||
            !gst_element_link(chain->audioConvert, resample) || !gst_element_link(resample, audioTarget))
            throw ToolError("cannot link the audio elements for " + layer.path);
        g_signal_connect(decodebin, "pad-added", G_CALLBACK(OnDecodedAudio), chain.get());
        chain->audioElements = {chain->audioQueue, decodebin, chain->audioConvert, resample};
        ++audioBranches_;
    }
    g_signal_connect(demux, "pad-added", G_CALLBACK(OnDemuxPad), chain.get());
    GstPad* decoderSink = gst_element_get_static_pad(chain->decoder, "sink");
    gst_pad_add_probe(decoderSink, GST_PAD_PROBE_TYPE_BUFFER, OnDecoderBuffer, chain.get(), nullptr);
    gst_object_unref(decoderSink);
    chains_.push_back(std::move(chain));
}

// Whether GStreamer has a decoder for audio of these caps (raw audio needs none).
bool CanDecodeAudio(GstCaps* caps) {
    if (gst_structure_has_name(gst_caps_get_structure(caps, 0), "audio/x-raw")) return true;
    GList* decoders = gst_element_factory_list_get_elements(
        GST_ELEMENT_FACTORY_TYPE_DECODER | GST_ELEMENT_FACTORY_TYPE_MEDIA_AUDIO, GST_RANK_MARGINAL);
    GList* usable = gst_element_factory_list_filter(decoders, caps, GST_PAD_SINK, FALSE);
    const bool found = usable != nullptr;
    gst_plugin_feature_list_free(usable);
    gst_plugin_feature_list_free(decoders);
    return found;
}

// qtdemux's pads appear as it reads the movie: the QZKT track goes to the layer's decoder, the
// first audio track to its audio branch, the rest nowhere.
void Player::OnDemuxPad(GstElement*, GstPad* pad, gpointer data) {
    Chain* chain = static_cast<Chain*>(data);
    GstCaps* caps = gst_pad_get_current_caps(pad);
    if (caps == nullptr) caps = gst_pad_query_caps(pad, nullptr);
    const std::string name = gst_structure_get_name(gst_caps_get_structure(caps, 0));
    GstElement* target = nullptr;
    if (name == "video/x-gst-fourcc-QZKT" && !chain->videoLinked) {
        target = chain->videoQueue;
        chain->videoLinked = true;
    } else if (name.compare(0, 6, "audio/") == 0 && chain->audioQueue != nullptr && !chain->audioLinked) {
        chain->audioLinked = true;
        if (CanDecodeAudio(caps)) {
            target = chain->audioQueue;
        } else {
            // The audio branch would wait for ever: the main loop takes it out.
            chain->audioCaps = name;
            g_idle_add(OnAudioUndecodable, chain);
        }
    }
    gst_caps_unref(caps);
    if (target == nullptr) return;
    GstPad* sinkPad = gst_element_get_static_pad(target, "sink");
    gst_pad_link(pad, sinkPad);
    gst_object_unref(sinkPad);
}

void Player::OnDecodedAudio(GstElement*, GstPad* pad, gpointer data) {
    Chain* chain = static_cast<Chain*>(data);
    GstPad* sinkPad = gst_element_get_static_pad(chain->audioConvert, "sink");
    if (!gst_pad_is_linked(sinkPad)) gst_pad_link(pad, sinkPad);
    gst_object_unref(sinkPad);
}

gboolean Player::OnAudioUndecodable(gpointer data) {
    Chain* chain = static_cast<Chain*>(data);
    std::fprintf(
        stderr,
        "qzkt play: note: %s: GStreamer has no decoder for its audio (%s), so its video plays alone\n",
        chain->player->layers_[chain->index].path.c_str(), chain->audioCaps.c_str());
    chain->player->DropAudio(chain);
    return G_SOURCE_REMOVE;
}

// Takes a layer's audio branch out of the pipeline, and the mixer and sink with the last one,
// so that nothing waits for audio that will not come.
void Player::DropAudio(Chain* chain) {
    auto remove = [this](GstElement* element) {
        gst_element_set_locked_state(element, TRUE);
        gst_element_set_state(element, GST_STATE_NULL);
        gst_bin_remove(GST_BIN(pipeline_), element);
    };
    GstPad* out = gst_element_get_static_pad(chain->audioElements.back(), "src");
    GstPad* mixerPad = gst_pad_get_peer(out);
    gst_object_unref(out);
    for (GstElement* element : chain->audioElements)
        remove(element);
    chain->audioElements.clear();
    if (mixerPad != nullptr) {
        if (audioMixer_ != nullptr) gst_element_release_request_pad(audioMixer_, mixerPad);
        gst_object_unref(mixerPad);
    }
    if (--audioBranches_ > 0) return;
    if (audioMixer_ != nullptr) remove(audioMixer_);
    if (audioSink_ != nullptr) remove(audioSink_);
    audioMixer_ = audioSink_ = nullptr;
}

// Notes the decoder's streaming thread, once: its CPU time is the decoder's cost.
GstPadProbeReturn Player::OnDecoderBuffer(GstPad*, GstPadProbeInfo*, gpointer data) {
    Chain* chain = static_cast<Chain*>(data);
    if (!chain->decoderThreadKnown && pthread_getcpuclockid(pthread_self(), &chain->decoderThread) == 0)
        chain->decoderThreadKnown = true;
    return GST_PAD_PROBE_OK;
}

GstPadProbeReturn Player::OnSinkBuffer(GstPad*, GstPadProbeInfo*, gpointer data) {
    Player* player = static_cast<Player*>(data);
    const double now = SteadySeconds();
    std::lock_guard<std::mutex> hold(player->arrivalsLock_);
    const uint64_t count = ++player->frames_;
    if (count == 1) player->firstFrame_ = now;
    if (!player->settings_.benchmark) return GST_PAD_PROBE_OK;
    player->arrivals_.push_back(now);
    if (count == player->settings_.warmUp + 1)
        player->markCpu_ = player->CpuNow();
    else if (count > player->settings_.warmUp + 1)
        player->lastCpu_ = player->CpuNow();
    return GST_PAD_PROBE_OK;
}

Player::CpuTimes Player::CpuNow() const {
    CpuTimes times;
    times.process = ProcessCpuSeconds();
    for (const auto& chain : chains_) {
        timespec used{};
        if (chain->decoderThreadKnown && clock_gettime(chain->decoderThread, &used) == 0)
            times.decoders += static_cast<double>(used.tv_sec) + used.tv_nsec / 1e9;
    }
    return times;
}

// A key in the video window: handed to the main loop, where the pipeline is steered.
GstPadProbeReturn Player::OnNavigation(GstPad*, GstPadProbeInfo* info, gpointer data) {
    GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
    if (GST_EVENT_TYPE(event) != GST_EVENT_NAVIGATION) return GST_PAD_PROBE_OK;
    const char* key = nullptr;
    if (gst_navigation_event_get_type(event) != GST_NAVIGATION_EVENT_KEY_PRESS ||
        !gst_navigation_event_parse_key_event(event, &key) || key == nullptr)
        return GST_PAD_PROBE_OK;
    const PlayAction action = ActionForKey(key);
    if (action == PlayAction::None) return GST_PAD_PROBE_OK;
    g_idle_add(OnKeyIdle, new KeyPress{static_cast<Player*>(data), action});
    return GST_PAD_PROBE_DROP;
}

gboolean Player::OnKeyIdle(gpointer data) {
    std::unique_ptr<KeyPress> press(static_cast<KeyPress*>(data));
    press->player->Do(press->action);
    return G_SOURCE_REMOVE;
}

gboolean Player::OnStdin(gint fd, GIOCondition, gpointer data) {
    Player* player = static_cast<Player*>(data);
    char bytes[64];
    const ssize_t count = read(fd, bytes, sizeof bytes);
    if (count <= 0) return G_SOURCE_REMOVE; // end of input: no more keys, playing goes on
    for (const std::string& key : player->terminalKeys_.Feed(bytes, static_cast<size_t>(count)))
        player->Do(ActionForKey(key));
    return G_SOURCE_CONTINUE;
}

gboolean Player::OnWindow(gint, GIOCondition, gpointer data) {
    Player* player = static_cast<Player*>(data);
    player->window_->DispatchEvents([player](const std::string& key) { player->Do(ActionForKey(key)); });
    return G_SOURCE_CONTINUE;
}

gboolean Player::OnStartTimeout(gpointer data) {
    Player* player = static_cast<Player*>(data);
    if (!player->started_)
        player->Fail("nothing to show after " + std::to_string(kStartSeconds) +
                     " s: the pipeline did not start");
    return G_SOURCE_REMOVE;
}

gboolean Player::OnSignal(gpointer data) {
    static_cast<Player*>(data)->Quit(0);
    return G_SOURCE_CONTINUE;
}

// The fullscreen window, given to the sink when it asks for one; from the streaming thread.
GstBusSyncReply Player::OnBusSync(GstBus*, GstMessage* message, gpointer data) {
    Player* player = static_cast<Player*>(data);
    if (player->window_ == nullptr || !gst_is_video_overlay_prepare_window_handle_message(message))
        return GST_BUS_PASS;
    gst_video_overlay_set_window_handle(GST_VIDEO_OVERLAY(GST_MESSAGE_SRC(message)),
                                        player->window_->handle());
    gst_message_unref(message);
    return GST_BUS_DROP;
}

std::string Player::LayerOf(GstObject* source) const {
    for (GstObject* object = source; object != nullptr; object = GST_OBJECT_PARENT(object)) {
        const gchar* name = GST_OBJECT_NAME(object);
        unsigned number = 0;
        if (name != nullptr && std::sscanf(name, "layer%u-", &number) == 1 && number >= 1 &&
            number <= layers_.size())
            return layers_[number - 1].path;
    }
    return "";
}

gboolean Player::OnBus(GstBus*, GstMessage* message, gpointer data) {
    Player* player = static_cast<Player*>(data);
    switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ERROR:
    case GST_MESSAGE_WARNING: {
        GError* error = nullptr;
        gchar* debug = nullptr;
        const bool fatal = GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR;
        if (fatal)
            gst_message_parse_error(message, &error, &debug);
        else
            gst_message_parse_warning(message, &error, &debug);
        const std::string layer = player->LayerOf(GST_MESSAGE_SRC(message));
        std::string text =
            (layer.empty() ? "" : layer + ": ") + (error != nullptr ? error->message : "failed");
        if (fatal && layer.empty() && player->settings_.audio && GST_MESSAGE_SRC(message) != nullptr &&
            std::string(GST_OBJECT_NAME(GST_MESSAGE_SRC(message))).find("audio") != std::string::npos)
            text += " (--no-audio plays the video alone)";
        g_clear_error(&error);
        g_free(debug);
        // The audio sink tries the outputs it knows (PulseAudio, ALSA...) and warns of each
        // one that fails; what counts is whether one worked, said once it has started.
        const bool fromAudioSink =
            player->audioSink_ != nullptr &&
            gst_object_has_as_ancestor(GST_MESSAGE_SRC(message), GST_OBJECT(player->audioSink_));
        if (fatal)
            player->Fail(text);
        else if (!fromAudioSink)
            std::fprintf(stderr, "qzkt play: warning: %s\n", text.c_str());
        break;
    }
    case GST_MESSAGE_EOS:
        if (player->loop_on_ && !player->settings_.benchmark) {
            std::fprintf(stderr, "qzkt play: from the start (loop)\n");
            player->Seek(0);
        } else
            player->Quit(player->status_);
        break;
    case GST_MESSAGE_STEP_DONE:
        std::fprintf(stderr, "qzkt play: paused at %s\n", TimeText(player->Position()).c_str());
        break;
    case GST_MESSAGE_ASYNC_DONE:
        // Paused, the sink draws the frame once, and nothing draws it again until the window is
        // exposed. A window just made can stay black after that one draw: seen with Mesa's
        // software renderer under Xvfb on a loaded machine, where the window's own events were
        // handled before the frame came. Asking the sink to draw the frame again costs one draw.
        if (player->paused_ && GST_IS_VIDEO_OVERLAY(player->videoSink_))
            gst_video_overlay_expose(GST_VIDEO_OVERLAY(player->videoSink_));
        // After a seek while paused, the frame now shown.
        if (player->started_ && player->paused_)
            std::fprintf(stderr, "qzkt play: paused at %s\n", TimeText(player->Position()).c_str());
        if (!player->started_) {
            player->started_ = true;
            GstElement* silent = player->audioSink_ != nullptr
                                     ? gst_bin_get_by_name(GST_BIN(player->audioSink_), "fake-audio-sink")
                                     : nullptr;
            if (silent != nullptr) {
                std::fprintf(stderr,
                             "qzkt play: note: no audio output could be opened, so the audio is not heard\n");
                gst_object_unref(silent);
            }
            if (player->settings_.startPaused)
                std::fprintf(stderr, "qzkt play: paused at the first frame (space plays)\n");
        }
        break;
    case GST_MESSAGE_QOS: {
        GstFormat format;
        guint64 processed = 0, dropped = 0;
        gst_message_parse_qos_stats(message, &format, &processed, &dropped);
        if (format != GST_FORMAT_BUFFERS) break;
        gchar* path = gst_object_get_path_string(GST_MESSAGE_SRC(message));
        player->droppedBy_[path] = dropped;
        g_free(path);
        if (gst_object_has_as_ancestor(GST_MESSAGE_SRC(message), GST_OBJECT(player->videoSink_)) ||
            GST_MESSAGE_SRC(message) == GST_OBJECT(player->videoSink_))
            player->sinkDropped_ = dropped;
        break;
    }
    default:
        break;
    }
    return TRUE;
}

gint64 Player::Position() const {
    gint64 position = 0;
    if (!gst_element_query_position(pipeline_, GST_FORMAT_TIME, &position)) return 0;
    return position;
}

void Player::Seek(gint64 position) {
    gint64 duration = 0;
    if (gst_element_query_duration(pipeline_, GST_FORMAT_TIME, &duration) && duration > 0)
        position = std::min(position, duration - 1);
    position = std::max<gint64>(position, 0);
    gst_element_seek_simple(pipeline_, GST_FORMAT_TIME,
                            static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
                            position);
}

void Player::Pause(bool paused) {
    if (paused == paused_) return;
    paused_ = paused;
    gst_element_set_state(pipeline_, paused ? GST_STATE_PAUSED : GST_STATE_PLAYING);
}

void Player::Do(PlayAction action) {
    if (quitting_) return;
    const gint64 frame = static_cast<gint64>(layers_[0].frameSeconds * GST_SECOND);
    switch (action) {
    case PlayAction::None:
        return;
    case PlayAction::TogglePause:
        Pause(!paused_);
        std::fprintf(stderr, "qzkt play: %s at %s\n", paused_ ? "paused" : "playing",
                     TimeText(Position()).c_str());
        return;
    case PlayAction::SeekForward:
    case PlayAction::SeekBackward:
    case PlayAction::SeekForwardLong:
    case PlayAction::SeekBackwardLong: {
        const bool longSeek = action == PlayAction::SeekForwardLong || action == PlayAction::SeekBackwardLong;
        const bool back = action == PlayAction::SeekBackward || action == PlayAction::SeekBackwardLong;
        const gint64 step = static_cast<gint64>((longSeek ? kLongSeekSeconds : kSeekSeconds) * GST_SECOND);
        Seek(Position() + (back ? -step : step));
        return;
    }
    case PlayAction::StepForward:
        Pause(true);
        gst_element_send_event(videoSink_, gst_event_new_step(GST_FORMAT_BUFFERS, 1, 1.0, TRUE, FALSE));
        return;
    case PlayAction::StepBackward:
        Pause(true);
        Seek(Position() - frame);
        return;
    case PlayAction::ToggleLoop:
        loop_on_ = !loop_on_;
        std::fprintf(stderr, "qzkt play: loop %s\n", loop_on_ ? "on" : "off");
        return;
    case PlayAction::Stats:
        std::printf("%s\n", StatsLine(Snapshot()).c_str());
        std::fflush(stdout);
        return;
    case PlayAction::Quit:
        Quit(status_);
        return;
    }
}

void Player::Fail(const std::string& message) {
    if (quitting_) return;
    std::fprintf(stderr, "qzkt play: %s\n", message.c_str());
    Quit(1);
}

void Player::Quit(int status) {
    if (quitting_) return;
    quitting_ = true;
    status_ = status;
    g_main_loop_quit(loop_);
}

PlayResult Player::Snapshot() const {
    PlayResult result;
    result.status = status_;
    uint64_t arrived = 0;
    {
        std::lock_guard<std::mutex> hold(arrivalsLock_);
        arrived = frames_;
        result.arrivals = arrivals_;
        result.seconds = firstFrame_ > 0 ? SteadySeconds() - firstFrame_ : 0;
    }
    result.shown = arrived > sinkDropped_ ? arrived - sinkDropped_ : 0;
    for (const auto& element : droppedBy_)
        result.dropped += element.second;
    result.cpuSeconds = ProcessCpuSeconds() - cpuStart_;
    {
        std::lock_guard<std::mutex> hold(arrivalsLock_);
        if (frames_ > settings_.warmUp + 1) {
            result.spanFrames = frames_ - settings_.warmUp - 1;
            result.spanCpuSeconds = lastCpu_.process - markCpu_.process;
            result.spanDecoderCpuSeconds = lastCpu_.decoders - markCpu_.decoders;
        }
    }
    for (const auto& chain : chains_) {
        gchar* path = nullptr;
        g_object_get(chain->decoder, "decode-path", &path, nullptr);
        result.decodePaths.push_back(path != nullptr ? path : "");
        g_free(path);
    }
    return result;
}

PlayResult Player::Run() {
    cpuStart_ = ProcessCpuSeconds();
    GstBus* bus = gst_pipeline_get_bus(GST_PIPELINE(pipeline_));
    gst_bus_set_sync_handler(bus, OnBusSync, this, nullptr);
    const guint busWatch = gst_bus_add_watch(bus, OnBus, this);
    gst_object_unref(bus);

    std::unique_ptr<RawTerminal> terminal;
    std::vector<guint> sources;
    if (!settings_.benchmark) {
        terminal.reset(new RawTerminal);
        sources.push_back(g_unix_fd_add(STDIN_FILENO, G_IO_IN, OnStdin, this));
        if (window_ != nullptr) sources.push_back(g_unix_fd_add(window_->fd(), G_IO_IN, OnWindow, this));
    }
    sources.push_back(g_unix_signal_add(SIGINT, OnSignal, this));
    sources.push_back(g_unix_signal_add(SIGTERM, OnSignal, this));
    sources.push_back(g_timeout_add_seconds(kStartSeconds, OnStartTimeout, this));

    paused_ = settings_.startPaused;
    if (gst_element_set_state(pipeline_, paused_ ? GST_STATE_PAUSED : GST_STATE_PLAYING) ==
        GST_STATE_CHANGE_FAILURE) {
        // The bus says why (no display, a file that cannot be opened): give it a moment to.
        sources.push_back(g_timeout_add(
            2000,
            [](gpointer data) {
                static_cast<Player*>(data)->Fail("the pipeline could not start");
                return G_SOURCE_REMOVE;
            },
            this));
    }
    g_main_loop_run(loop_);
    PlayResult result = Snapshot();
    gst_element_set_state(pipeline_, GST_STATE_NULL);
    for (guint source : sources) {
        GSource* each = g_main_context_find_source_by_id(nullptr, source);
        if (each != nullptr && !g_source_is_destroyed(each)) g_source_remove(source);
    }
    g_source_remove(busWatch);
    result.status = status_;
    return result;
}

} // namespace

PlayLayer ProbeLayer(const std::string& path) {
    const MovieFacts facts = ProbeMovie(path);
    PlayLayer layer;
    layer.path = path;
    bool found = false;
    for (const TrackFacts& track : facts.tracks) {
        if (track.qzkt && !found) {
            found = true;
            layer.width = track.width;
            layer.height = track.height;
        }
        if (track.kind == "audio") layer.hasAudio = true;
    }
    if (!found) throw ToolError(path + " has no QZKT video track (qzkt encode makes one)");
    if (facts.samplesInside == 0) throw ToolError(path + " has no frames to show");
    layer.duration = facts.samplesDuration > 0 ? facts.samplesDuration : facts.duration;
    layer.frameSeconds = facts.samplesDuration > 0 && facts.listedSamples > 0
                             ? facts.samplesDuration / facts.listedSamples
                             : 1.0 / 25;
    return layer;
}

PlayResult PlayLayers(const std::vector<PlayLayer>& layers, const PlaySettings& settings) {
    Player player(layers, settings);
    return player.Run();
}

std::string StatsLine(const PlayResult& result) {
    char head[160];
    std::snprintf(head, sizeof head, "shown %" PRIu64 " frames, dropped %" PRIu64 ", %.1f fps", result.shown,
                  result.dropped,
                  result.seconds > 0 ? static_cast<double>(result.shown) / result.seconds : 0.0);
    std::string line = head;
    for (size_t i = 0; i < result.decodePaths.size(); ++i)
        line += "; layer " + std::to_string(i + 1) + ": " + result.decodePaths[i];
    return line;
}
