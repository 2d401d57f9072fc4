#include "cli_AudioFile.h"

#include "cli_Error.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
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
#include <mutex>
#include <random>
#include <string_view>
#include <utility>

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

// A slot is claimed, then its path written, then it is marked ready: the
// handler only reads ready slots, and two threads never share one.
constexpr int kTemporarySlots = 64; // more at once are not removed on a signal, only later as stale
enum SlotState : int
{
    kSlotFree,
    kSlotClaimed,
    kSlotReady,
};
char gTemporaryPaths[kTemporarySlots][PATH_MAX];
std::atomic<int> gTemporarySlots[kTemporarySlots];

extern "C" void removeTemporariesAndDie(int inSignal)
{
    for (int slot = 0; slot < kTemporarySlots; ++slot)
        if (gTemporarySlots[slot].load(std::memory_order_acquire) == kSlotReady)
            ::unlink(gTemporaryPaths[slot]);
    std::signal(inSignal, SIG_DFL);
    std::raise(inSignal);
}

int registerTemporary(const fs::path& inPath)
{
    const std::string text = inPath.string();
    for (int slot = 0; slot < kTemporarySlots && text.size() < PATH_MAX; ++slot) {
        int state = kSlotFree;
        if (!gTemporarySlots[slot].compare_exchange_strong(state, kSlotClaimed, std::memory_order_acquire))
            continue;
        std::memcpy(gTemporaryPaths[slot], text.c_str(), text.size() + 1);
        gTemporarySlots[slot].store(kSlotReady, std::memory_order_release);
        return slot;
    }
    return -1;
}

void releaseTemporary(int inSlot)
{
    if (inSlot >= 0)
        gTemporarySlots[inSlot].store(kSlotFree, std::memory_order_release);
}

} // namespace

void removeTemporariesOnSignals()
{
    for (int signalNumber : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signalNumber, removeTemporariesAndDie);
}

namespace {

// --- Temporary files ------------------------------------------------------------------
//
// Where the file system allows, a file is written unnamed (O_TMPFILE) and
// linked under its name at the end, so that a killed render leaves nothing.
// Elsewhere it is written as ".NAME.q38-XXXXXX" beside the destination. Each
// temporary file is locked (flock) while its writer lives: a file of that
// pattern that nobody holds is left from a killed render and is removed.

constexpr std::string_view kTemporaryInfix = ".q38-";
constexpr std::size_t kTemporarySuffixLength = 6; // as mkostemp's XXXXXX

bool testHookSet(const char* inVariable);

fs::path folderOf(const fs::path& inPath)
{
    return inPath.has_parent_path() ? inPath.parent_path() : fs::path(".");
}

bool isTemporaryName(std::string_view inName)
{
    const std::size_t infix = inName.rfind(kTemporaryInfix);
    return inName.starts_with('.') && infix != std::string_view::npos && infix > 1 &&
           inName.size() == infix + kTemporaryInfix.size() + kTemporarySuffixLength &&
           std::all_of(inName.begin() + long(infix + kTemporaryInfix.size()), inName.end(),
                       [](char c) { return std::isalnum(static_cast<unsigned char>(c)); });
}

void removeStaleTemporaries(const fs::path& inFolder)
{
    DIR* folder = ::opendir(inFolder.c_str());
    if (!folder)
        return;
    while (const dirent* entry = ::readdir(folder)) {
        if (!isTemporaryName(entry->d_name))
            continue;
        const int descriptor = ::openat(::dirfd(folder), entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (descriptor < 0)
            continue;
        struct stat status = {};
        if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            ::unlinkat(::dirfd(folder), entry->d_name, 0);
        ::close(descriptor);
    }
    ::closedir(folder);
}

// Unnamed files are linked through /proc, which needs no privilege.
bool unnamedFilesAllowed()
{
    return !testHookSet("Q38_TEST_NO_TMPFILE") && ::access("/proc/self/fd", X_OK) == 0;
}

int linkUnnamed(int inDescriptor, const fs::path& inName)
{
    const std::string source = "/proc/self/fd/" + std::to_string(inDescriptor);
    return ::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, inName.c_str(), AT_SYMLINK_FOLLOW);
}

// Links an unnamed file under a fresh temporary name beside inDestination.
int nameUnnamed(int inDescriptor, const fs::path& inDestination, fs::path& outName)
{
    static constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string name = ".";
        name += inDestination.filename().string();
        name += kTemporaryInfix;
        for (std::size_t index = 0; index < kTemporarySuffixLength; ++index)
            name += kLetters[random() % (sizeof kLetters - 1)];
        if (linkUnnamed(inDescriptor, folderOf(inDestination) / name) == 0) {
            outName = folderOf(inDestination) / name;
            return 0;
        }
        if (errno != EEXIST)
            return -1;
    }
    return -1;
}

// A new file in inFolder, locked for as long as it is open; outName is left
// empty for an unnamed file. Returns -1 with errno set on failure.
int createTemporary(const fs::path& inFolder, const std::string& inName, fs::path& outName)
{
    outName.clear();
    int descriptor = -1;
    if (unnamedFilesAllowed()) {
        descriptor = ::open(inFolder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
        if (descriptor < 0 && errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
            return -1; // the folder itself is the trouble
    }
    if (descriptor < 0) {
        std::string pattern = (inFolder / ("." + inName + std::string(kTemporaryInfix) + "XXXXXX")).string();
        descriptor = ::mkostemp(pattern.data(), O_CLOEXEC);
        if (descriptor < 0)
            return -1;
        outName = pattern;
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(descriptor, 0666 & ~mask);
    }
    ::flock(descriptor, LOCK_EX);
    return descriptor;
}

// --- Test hook ------------------------------------------------------------------

// Q38_TEST_WRITE_LIMIT=N lets the whole process write N bytes of files and
// then fails every write as a full disk would (ENOSPC). It exists so tests can
// reach the full-disk path without mounting a small file system.
// Q38_TEST_NO_TMPFILE=1 makes temporary files named, as on a file system
// without unnamed files.
bool testHookSet(const char* inVariable)
{
    const char* value = std::getenv(inVariable);
    return value && *value && std::string_view(value) != "0";
}

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

// libsndfile keeps the reason of a failed open in one place for the whole
// process: renders on several threads open their files one at a time.
template <typename Open> SNDFILE* openSoundFile(Open&& inOpen, std::string& outReason)
{
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    SNDFILE* file = inOpen();
    if (!file)
        outReason = sf_strerror(nullptr);
    return file;
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
    std::string reason;
    mFile = openSoundFile([&] { return sf_open_fd(mDescriptor, SFM_READ, &mInfo, SF_FALSE); }, reason);
    if (!mFile) {
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

std::vector<std::string> outputExtensions()
{
    std::vector<std::string> extensions;
    for (const ContainerEntry& entry : kContainers)
        extensions.push_back(entry.mExtension);
    return extensions;
}

std::vector<std::string> subtypeNames()
{
    std::vector<std::string> names;
    for (const SubtypeEntry& entry : kSubtypes)
        names.push_back(entry.mName);
    return names;
}

bool isSoundFileName(const fs::path& inPath)
{
    static const std::vector<std::string> extensions = [] {
        // What libsndfile reads (header-less raw needs to be told its format),
        // the names our writer adds, and MPEG's usual one.
        std::vector<std::string> known = outputExtensions();
        known.push_back("mp3");
        int count = 0;
        sf_command(nullptr, SFC_GET_FORMAT_MAJOR_COUNT, &count, sizeof count);
        for (int index = 0; index < count; ++index) {
            SF_FORMAT_INFO info{index, nullptr, nullptr};
            sf_command(nullptr, SFC_GET_FORMAT_MAJOR, &info, sizeof info);
            if (info.extension && std::string_view(info.extension) != "raw")
                known.push_back(info.extension);
        }
        return known;
    }();
    const std::string extension = lower(inPath.extension().string());
    return extension.size() > 1 && std::find(extensions.begin(), extensions.end(), extension.substr(1)) != extensions.end();
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
    const fs::path folder = folderOf(inDestination);
    removeStaleTemporaries(folder);
    mDescriptor = createTemporary(folder, inDestination.filename().string(), mTemporary);
    if (mDescriptor < 0)
        throw Error("cannot create a file in " + quoted(folder) + ": " + systemError(errno));
    if (!mTemporary.empty())
        mSlot = registerTemporary(mTemporary);
}

TemporaryFile::~TemporaryFile()
{
    if (mDescriptor >= 0)
        ::close(mDescriptor);
    if (!mCommitted && !mTemporary.empty())
        ::unlink(mTemporary.c_str());
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
    // A named file is closed first, so that a late write error shows; an
    // unnamed one needs its descriptor to be linked.
    if (!mTemporary.empty() && ::close(std::exchange(mDescriptor, -1)) != 0)
        fail(systemError(errno));
    // The destination may have changed while the render ran.
    checkOutputPath(mDestination, mInput, mOverwrite);
    int result = -1;
    if (mTemporary.empty() && !mOverwrite) {
        result = linkUnnamed(mDescriptor, mDestination); // refuses an existing name by itself
    } else if (mTemporary.empty()) {
        // To replace a file, the unnamed one takes a temporary name first.
        result = nameUnnamed(mDescriptor, mDestination, mTemporary);
        if (result == 0)
            result = ::rename(mTemporary.c_str(), mDestination.c_str());
    } else if (mOverwrite) {
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
    if (result != 0) {
        if (errno == EEXIST)
            throw UsageError(quoted(mDestination) + " exists; use --force to replace it");
        fail(systemError(errno));
    }
    mCommitted = true;
}

void checkWritableFolder(const fs::path& inFolder)
{
    struct stat status = {};
    if (::stat(inFolder.c_str(), &status) != 0)
        throw Error(errno == ENOENT ? "the output folder " + quoted(inFolder) + " does not exist"
                                    : "cannot write into " + quoted(inFolder) + ": " + systemError(errno));
    if (!S_ISDIR(status.st_mode))
        throw Error(quoted(inFolder) + " is not a folder");
    fs::path name;
    const int descriptor = createTemporary(inFolder, "probe", name);
    if (descriptor < 0)
        throw Error("cannot write into " + quoted(inFolder) + ": " + systemError(errno));
    ::close(descriptor);
    if (!name.empty())
        ::unlink(name.c_str());
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
    std::string reason;
    mFile = openSoundFile([&] { return sf_open_virtual(&io, SFM_WRITE, &info, &mTemporary); }, reason);
    if (!mFile)
        mTemporary.fail(mTemporary.lastError() ? systemError(mTemporary.lastError()) : reason);
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
