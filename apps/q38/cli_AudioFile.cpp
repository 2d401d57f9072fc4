#include "cli_AudioFile.h"

#include "cli_Error.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace cli {

namespace fs = std::filesystem;

namespace {

std::string quoted(const fs::path& inPath)
{
    return "'" + inPath.string() + "'";
}

std::string systemError(int inError)
{
    return std::strerror(inError);
}

// --- Temporary files are removed when the program is interrupted -------------

constexpr int kTemporarySlots = 4;
char gTemporaryPaths[kTemporarySlots][PATH_MAX];
std::atomic<bool> gTemporaryInUse[kTemporarySlots];

extern "C" void removeTemporariesAndDie(int inSignal)
{
    for (int slot = 0; slot < kTemporarySlots; ++slot)
        if (gTemporaryInUse[slot].load())
            ::unlink(gTemporaryPaths[slot]);
    std::signal(inSignal, SIG_DFL);
    std::raise(inSignal);
}

int registerTemporary(const fs::path& inPath)
{
    static const bool installed = [] {
        for (int signalNumber : {SIGINT, SIGTERM, SIGHUP})
            std::signal(signalNumber, removeTemporariesAndDie);
        return true;
    }();
    (void)installed;
    const std::string text = inPath.string();
    for (int slot = 0; slot < kTemporarySlots; ++slot) {
        if (gTemporaryInUse[slot].load() || text.size() >= PATH_MAX)
            continue;
        std::memcpy(gTemporaryPaths[slot], text.c_str(), text.size() + 1);
        gTemporaryInUse[slot].store(true);
        return slot;
    }
    return -1;
}

void releaseTemporary(int inSlot)
{
    if (inSlot >= 0)
        gTemporaryInUse[inSlot].store(false);
}

// --- Test hook ------------------------------------------------------------------

// Q38_TEST_WRITE_LIMIT=N lets the whole process write N bytes of files and
// then fails every write as a full disk would (ENOSPC). It exists so tests can
// reach the full-disk path without mounting a small file system.
long long& writeBudget()
{
    static long long budget = [] {
        const char* limit = std::getenv("Q38_TEST_WRITE_LIMIT");
        return limit && *limit ? std::atoll(limit) : -1LL;
    }();
    return budget;
}

// --- Formats --------------------------------------------------------------------

struct ContainerEntry
{
    const char* mExtension;
    int mMajor;
    int mDefaultSubtype;
    const char* mName;
};
constexpr ContainerEntry kContainers[] = {
    {"wav", SF_FORMAT_WAV, SF_FORMAT_FLOAT, "WAV"},   {"aiff", SF_FORMAT_AIFF, SF_FORMAT_FLOAT, "AIFF"},
    {"aif", SF_FORMAT_AIFF, SF_FORMAT_FLOAT, "AIFF"}, {"flac", SF_FORMAT_FLAC, SF_FORMAT_PCM_24, "FLAC"},
    {"ogg", SF_FORMAT_OGG, SF_FORMAT_VORBIS, "Ogg"},  {"oga", SF_FORMAT_OGG, SF_FORMAT_VORBIS, "Ogg"},
    {"opus", SF_FORMAT_OGG, SF_FORMAT_OPUS, "Ogg"},   {"caf", SF_FORMAT_CAF, SF_FORMAT_FLOAT, "CAF"},
    {"w64", SF_FORMAT_W64, SF_FORMAT_FLOAT, "W64"},   {"rf64", SF_FORMAT_RF64, SF_FORMAT_FLOAT, "RF64"},
    {"au", SF_FORMAT_AU, SF_FORMAT_FLOAT, "AU"},
};

struct SubtypeEntry
{
    const char* mName;
    int mSubtype;
    const char* mDescription;
    bool mClips; // integer formats clip overs instead of wrapping them round
};
constexpr SubtypeEntry kSubtypes[] = {
    {"PCM_S8", SF_FORMAT_PCM_S8, "8-bit signed", true},
    {"PCM_U8", SF_FORMAT_PCM_U8, "8-bit unsigned", true},
    {"PCM_16", SF_FORMAT_PCM_16, "16-bit", true},
    {"PCM_24", SF_FORMAT_PCM_24, "24-bit", true},
    {"PCM_32", SF_FORMAT_PCM_32, "32-bit integer", true},
    {"FLOAT", SF_FORMAT_FLOAT, "32-bit float", false},
    {"DOUBLE", SF_FORMAT_DOUBLE, "64-bit float", false},
    {"VORBIS", SF_FORMAT_VORBIS, "Vorbis", false},
    {"OPUS", SF_FORMAT_OPUS, "Opus", false},
    {"ULAW", SF_FORMAT_ULAW, "u-law", true},
    {"ALAW", SF_FORMAT_ALAW, "A-law", true},
};

std::string upper(std::string inText)
{
    std::transform(inText.begin(), inText.end(), inText.begin(), [](unsigned char c) { return std::toupper(c); });
    return inText;
}

std::string lower(std::string inText)
{
    std::transform(inText.begin(), inText.end(), inText.begin(), [](unsigned char c) { return std::tolower(c); });
    return inText;
}

// --- libsndfile on a temporary file ------------------------------------------------

TemporaryFile& sinkOf(void* inUserData)
{
    return *static_cast<TemporaryFile*>(inUserData);
}

sf_count_t sinkLength(void* inUserData)
{
    struct stat status = {};
    return ::fstat(sinkOf(inUserData).descriptor(), &status) == 0 ? status.st_size : -1;
}

sf_count_t sinkSeek(sf_count_t inOffset, int inWhence, void* inUserData)
{
    return ::lseek(sinkOf(inUserData).descriptor(), inOffset, inWhence);
}

sf_count_t sinkRead(void* outData, sf_count_t inCount, void* inUserData)
{
    const ssize_t count = ::read(sinkOf(inUserData).descriptor(), outData, static_cast<std::size_t>(inCount));
    return count < 0 ? 0 : count;
}

sf_count_t sinkWrite(const void* inData, sf_count_t inCount, void* inUserData)
{
    return static_cast<sf_count_t>(sinkOf(inUserData).writeSome(inData, static_cast<std::size_t>(inCount)));
}

sf_count_t sinkTell(void* inUserData)
{
    return ::lseek(sinkOf(inUserData).descriptor(), 0, SEEK_CUR);
}

} // namespace

// --- Input --------------------------------------------------------------------------

InputFile::InputFile(const fs::path& inPath) : mPath(inPath)
{
    mDescriptor = ::open(inPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (mDescriptor < 0)
        throw Error("cannot open " + quoted(inPath) + ": " + systemError(errno));
    struct stat status = {};
    if (::fstat(mDescriptor, &status) != 0 || S_ISDIR(status.st_mode)) {
        const int error = S_ISDIR(status.st_mode) ? EISDIR : errno;
        ::close(mDescriptor);
        throw Error("cannot read " + quoted(inPath) + ": " + systemError(error));
    }
    mIdentity = {status.st_dev, status.st_ino};
    mFile = sf_open_fd(mDescriptor, SFM_READ, &mInfo, SF_FALSE);
    if (!mFile) {
        const std::string reason = sf_strerror(nullptr);
        ::close(mDescriptor);
        throw Error(quoted(inPath) + " is not a sound file q38 can read (" + reason + ")");
    }
    std::string problem;
    if (mInfo.channels < 1 || mInfo.channels > 2)
        problem = " has " + std::to_string(mInfo.channels) + " channels; q38 renders mono and stereo files only";
    else if (mInfo.samplerate < kLowestSampleRate || mInfo.samplerate > kHighestSampleRate)
        problem = " has a sample rate of " + std::to_string(mInfo.samplerate) + " Hz; q38 renders " +
                  std::to_string(kLowestSampleRate) + " to " + std::to_string(kHighestSampleRate) + " Hz";
    if (!problem.empty()) {
        sf_close(mFile);
        ::close(mDescriptor);
        throw Error(quoted(inPath) + problem);
    }
}

InputFile::~InputFile()
{
    sf_close(mFile);
    ::close(mDescriptor);
}

std::string InputFile::formatName() const
{
    SF_FORMAT_INFO major{mInfo.format & SF_FORMAT_TYPEMASK, nullptr, nullptr};
    SF_FORMAT_INFO subtype{mInfo.format & SF_FORMAT_SUBMASK, nullptr, nullptr};
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &major, sizeof major);
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &subtype, sizeof subtype);
    return std::string(major.name ? major.name : "?") + ", " + (subtype.name ? subtype.name : "?");
}

sf_count_t InputFile::read(float* outInterleaved, sf_count_t inFrames)
{
    const sf_count_t count = sf_readf_float(mFile, outInterleaved, inFrames);
    if (count < inFrames && sf_error(mFile) != SF_ERR_NO_ERROR)
        throw Error("cannot read " + quoted(mPath) + ": " + sf_strerror(mFile));
    return count;
}

// --- Output -------------------------------------------------------------------------

OutputFormat chooseOutputFormat(const fs::path& inPath, const std::string& inSubtype, int inChannels, int inSampleRate)
{
    const std::string extension = lower(inPath.extension().string());
    const auto container = std::find_if(std::begin(kContainers), std::end(kContainers), [&](const auto& entry) {
        return extension.size() > 1 && extension.compare(1, std::string::npos, entry.mExtension) == 0;
    });
    if (container == std::end(kContainers)) {
        std::string known;
        for (const ContainerEntry& entry : kContainers)
            known += (known.empty() ? "." : ", .") + std::string(entry.mExtension);
        throw UsageError("cannot write " + quoted(inPath) + ": unsupported format '" + extension +
                         "' (the output's extension chooses one of " + known + ")");
    }
    const SubtypeEntry* subtype = nullptr;
    const std::string wanted = upper(inSubtype);
    for (const SubtypeEntry& entry : kSubtypes)
        if (inSubtype.empty() ? entry.mSubtype == container->mDefaultSubtype : wanted == entry.mName)
            subtype = &entry;
    if (!subtype) {
        std::string known;
        for (const SubtypeEntry& entry : kSubtypes)
            known += (known.empty() ? "" : ", ") + std::string(entry.mName);
        throw UsageError("unknown subtype '" + inSubtype + "' (one of " + known + ")");
    }
    SF_INFO info{};
    info.format = container->mMajor | subtype->mSubtype;
    info.channels = inChannels;
    info.samplerate = inSampleRate;
    if (!sf_format_check(&info))
        throw UsageError("cannot write " + quoted(inPath) + ": " + container->mName + " does not hold " +
                         subtype->mName + " at " + std::to_string(inSampleRate) + " Hz");
    return {info.format, subtype->mClips, std::string(container->mName) + ", " + subtype->mDescription};
}

void checkOutputPath(const fs::path& inPath, const FileIdentity* inInput, bool inOverwrite)
{
    struct stat status = {};
    if (::stat(inPath.c_str(), &status) == 0) {
        if (inInput && FileIdentity{status.st_dev, status.st_ino} == *inInput)
            throw UsageError(quoted(inPath) + " is the input file; q38 never overwrites its input");
        if (S_ISDIR(status.st_mode))
            throw UsageError("cannot write " + quoted(inPath) + ": " + systemError(EISDIR));
    }
    if (!inOverwrite && ::lstat(inPath.c_str(), &status) == 0)
        throw UsageError(quoted(inPath) + " exists; use --force to replace it");
}

TemporaryFile::TemporaryFile(const fs::path& inDestination, const FileIdentity* inInput, bool inOverwrite)
    : mDestination(inDestination), mInput(inInput), mOverwrite(inOverwrite)
{
    checkOutputPath(inDestination, inInput, inOverwrite);
    const fs::path folder = inDestination.has_parent_path() ? inDestination.parent_path() : fs::path(".");
    std::string name = ".";
    name += inDestination.filename().string();
    name += ".q38-XXXXXX";
    std::string pattern = (folder / name).string();
    mDescriptor = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (mDescriptor < 0)
        throw Error("cannot create a file in " + quoted(folder) + ": " + systemError(errno));
    mTemporary = pattern;
    mSlot = registerTemporary(mTemporary);
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(mDescriptor, 0666 & ~mask);
}

TemporaryFile::~TemporaryFile()
{
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
        ::unlink(mTemporary.c_str());
    }
    releaseTemporary(mSlot);
}

std::size_t TemporaryFile::writeSome(const void* inData, std::size_t inSize)
{
    long long& budget = writeBudget();
    const std::size_t allowed = budget < 0 ? inSize : std::min<std::size_t>(inSize, static_cast<std::size_t>(budget));
    const char* bytes = static_cast<const char*>(inData);
    std::size_t done = 0;
    while (done < allowed) {
        const ssize_t count = ::write(mDescriptor, bytes + done, allowed - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            mError = count < 0 ? errno : ENOSPC;
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    if (budget >= 0)
        budget -= static_cast<long long>(done);
    if (done < inSize && mError == 0)
        mError = ENOSPC;
    return done;
}

void TemporaryFile::write(const void* inData, std::size_t inSize)
{
    if (writeSome(inData, inSize) != inSize)
        fail(systemError(mError));
}

void TemporaryFile::fail(const std::string& inReason) const
{
    throw Error("cannot write " + quoted(mDestination) + ": " + inReason);
}

void TemporaryFile::commit()
{
    if (::fsync(mDescriptor) != 0)
        fail(systemError(errno));
    const int descriptor = mDescriptor;
    mDescriptor = -1;
    if (::close(descriptor) != 0) {
        const int error = errno;
        ::unlink(mTemporary.c_str());
        fail(systemError(error));
    }
    // The destination may have changed while the render ran.
    int result = -1;
    try {
        checkOutputPath(mDestination, mInput, mOverwrite);
        if (mOverwrite) {
            result = ::rename(mTemporary.c_str(), mDestination.c_str());
        } else {
            result = ::renameat2(AT_FDCWD, mTemporary.c_str(), AT_FDCWD, mDestination.c_str(), RENAME_NOREPLACE);
            if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
                // Without a no-replace rename a hard link refuses an existing name too.
                result = ::link(mTemporary.c_str(), mDestination.c_str());
                if (result == 0)
                    ::unlink(mTemporary.c_str());
            }
        }
    } catch (...) {
        ::unlink(mTemporary.c_str());
        throw;
    }
    if (result != 0) {
        const int error = errno;
        ::unlink(mTemporary.c_str());
        if (error == EEXIST)
            throw UsageError(quoted(mDestination) + " exists; use --force to replace it");
        fail(systemError(error));
    }
}

OutputFile::OutputFile(const fs::path& inPath, const OutputFormat& inFormat, int inChannels, int inSampleRate,
                       const FileIdentity* inInput, bool inOverwrite)
    : mTemporary(inPath, inInput, inOverwrite)
{
    static SF_VIRTUAL_IO io{sinkLength, sinkSeek, sinkRead, sinkWrite, sinkTell};
    SF_INFO info{};
    info.format = inFormat.mFormat;
    info.channels = inChannels;
    info.samplerate = inSampleRate;
    mFile = sf_open_virtual(&io, SFM_WRITE, &info, &mTemporary);
    if (!mFile)
        mTemporary.fail(mTemporary.lastError() ? systemError(mTemporary.lastError()) : sf_strerror(nullptr));
    // No time stamp in the file, so equal renders give equal files.
    sf_command(mFile, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    if (inFormat.mClips)
        sf_command(mFile, SFC_SET_CLIPPING, nullptr, SF_TRUE);
}

OutputFile::~OutputFile()
{
    if (mFile)
        sf_close(mFile);
}

void OutputFile::write(const float* inInterleaved, sf_count_t inFrames)
{
    const sf_count_t count = sf_writef_float(mFile, inInterleaved, inFrames);
    if (mTemporary.lastError())
        mTemporary.fail(systemError(mTemporary.lastError()));
    if (count != inFrames)
        mTemporary.fail(sf_strerror(mFile));
}

void OutputFile::commit()
{
    const int status = sf_close(mFile);
    mFile = nullptr;
    if (mTemporary.lastError())
        mTemporary.fail(systemError(mTemporary.lastError()));
    if (status != SF_ERR_NO_ERROR)
        mTemporary.fail(sf_error_number(status));
    mTemporary.commit();
}

void writeTextFile(const fs::path& inPath, const std::string& inText, const FileIdentity* inInput, bool inOverwrite)
{
    TemporaryFile file(inPath, inInput, inOverwrite);
    file.write(inText.data(), inText.size());
    file.commit();
}

} // namespace cli
