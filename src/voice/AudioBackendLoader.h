#pragma once

// The system's audio, loaded from its plugin the first time a recording or a
// playback needs it; later calls give the same factory. Null when the plugin
// is missing or fails to load (logged once): recording then gives up through
// its ladder and playback does nothing.

class AudioBackend;

AudioBackend* loadAudioBackend();
