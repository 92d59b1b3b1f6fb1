#pragma once

class AudioEngine;

// What the engine tells its owner.
class AudioPlayerDelegate {
public:
    virtual ~AudioPlayerDelegate() = default;
    // The scheduled audio ended by itself (end of file, or of a range that does not loop). Main thread.
    virtual void audioPlayerDidFinishPlaying(AudioEngine* player, bool successfully) = 0;
    // The graph has started and its mixer is set up (true), or a start found no output device to
    // play to (false). The caller's thread.
    virtual void audioPlayerDidFinishSetupSuccessfully(bool flag) = 0;
    // First step of an interruption or a sleep.
    virtual void audioPlayerWillReset() = 0;
};
