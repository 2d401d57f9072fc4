#pragma once

// Sound files in and out, through libsndfile, with the renderer's safety
// rules: an output never replaces the input (also not through another name of
// the same file), is written to a temporary file beside its destination and
// only takes the destination's name once everything has been written.

#include "Q38Engine.h"

#include <sndfile.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace cli {

// The rates the engine runs at.
constexpr int kLowestSampleRate = kQ38MinSampleRate;
constexpr int kHighestSampleRate = kQ38MaxSampleRate;

// Which file a path names, whatever links lead to it.
struct FileIdentity
{
    dev_t mDevice = 0;
    ino_t mInode = 0;
    bool operator==(const FileIdentity&) const = default;
};

class InputFile
{
public:
    // Opens a mono or stereo file at a supported rate or throws Error.
    explicit InputFile(const std::filesystem::path& inPath);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    int channels() const { return mInfo.channels; }
    int sampleRate() const { return mInfo.samplerate; }
    sf_count_t frames() const { return mInfo.frames; }
    const FileIdentity& identity() const { return mIdentity; }
    // "WAV, 24 bit" and the like.
    std::string formatName() const;

    // Up to inFrames interleaved frames; fewer only at the end of the file.
    sf_count_t read(float* outInterleaved, sf_count_t inFrames);

private:
    std::filesystem::path mPath;
    int mDescriptor = -1;
    SNDFILE* mFile = nullptr;
    SF_INFO mInfo{};
    FileIdentity mIdentity;
};

struct OutputFormat
{
    int mFormat = 0; // major format | subtype, as libsndfile takes it
    bool mClips = false; // samples beyond full scale are clipped
    std::string mDescription;
};

// The format named by the output's extension with its default subtype
// (32-bit float where the format has one), or with inSubtype such as "PCM_24".
OutputFormat chooseOutputFormat(const std::filesystem::path& inPath, const std::string& inSubtype, int inChannels,
                                int inSampleRate);

// The extensions an output may have, and the sample formats --subtype takes.
std::vector<std::string> outputExtensions();
std::vector<std::string> subtypeNames();

// Whether a file's extension is one of a sound file libsndfile reads.
bool isSoundFileName(const std::filesystem::path& inPath);

// Refuses, before any work, to write over the input or, without
// inOverwrite, over an existing file.
void checkOutputPath(const std::filesystem::path& inPath, const FileIdentity* inInput, bool inOverwrite);

// Refuses, before any work, an output folder that does not exist or where
// no file can be made.
void checkWritableFolder(const std::filesystem::path& inFolder);

// A file being written in its destination's folder, unnamed where the file
// system allows, else under a hidden temporary name. It takes the
// destination's name at commit; until then, or on any failure, nothing but
// the temporary file exists, and the destructor removes it. Temporary files
// left in the folder by a killed render are removed on the way.
// Makes SIGINT, SIGTERM and SIGHUP remove the named temporary files of the
// renders under way before the program dies of the signal. For a program
// that owns its signals (q38); a host with handlers of its own (the Python
// interpreter) leaves it out, and a file left by a kill goes at the next
// render into that folder.
void removeTemporariesOnSignals();

class TemporaryFile
{
public:
    TemporaryFile(const std::filesystem::path& inDestination, const FileIdentity* inInput, bool inOverwrite);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    int descriptor() const { return mDescriptor; }
    // Writes all bytes or throws Error naming the destination.
    void write(const void* inData, std::size_t inSize);
    // Writes what it can; on a short write the reason stays in lastError().
    std::size_t writeSome(const void* inData, std::size_t inSize);
    int lastError() const { return mError; }
    [[noreturn]] void fail(const std::string& inReason) const;
    void commit();

private:
    std::filesystem::path mDestination;
    std::filesystem::path mTemporary; // empty while the file has no name
    const FileIdentity* mInput;
    bool mOverwrite;
    int mDescriptor = -1;
    int mError = 0;
    int mSlot = -1;
    bool mCommitted = false;
};

class OutputFile
{
public:
    OutputFile(const std::filesystem::path& inPath, const OutputFormat& inFormat, int inChannels, int inSampleRate,
               const FileIdentity* inInput, bool inOverwrite);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(const float* inInterleaved, sf_count_t inFrames);
    void commit();

private:
    TemporaryFile mTemporary;
    SNDFILE* mFile = nullptr;
};

// A small text file, written the same careful way.
void writeTextFile(const std::filesystem::path& inPath, const std::string& inText, const FileIdentity* inInput,
                   bool inOverwrite);

} // namespace cli
