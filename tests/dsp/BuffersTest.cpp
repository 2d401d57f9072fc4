#include "dsp/containers/dsp_ChannelsBuffer.h"
#include "dsp/containers/dsp_DataBuffer.h"
#include "support/NoticeCapture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using q38test::NoticeCapture;
using Heads = std::vector<std::string>;

namespace {
const std::string kChannelsPath = "src/libraries/dsp/containers/dsp_ChannelsBuffer.h";
const std::string kDataPath = "src/libraries/dsp/containers/dsp_DataBuffer.h";
const std::string kSampleCountHead = "Assertion 'inNumSamples <= MaxNumSamples && inNumSamples >= 0' failed";
const std::string kChannelCountHead = "Assertion 'inNumChannels <= MaxNumChannels && inNumChannels >= 0' failed";
} // namespace

TEST(ChannelsBuffer, RowsAreContiguousAndBothPointersAreSet)
{
    NoticeCapture capture;
    dsp::ChannelsBuffer buffer(1, 32);
    EXPECT_TRUE(capture.empty());
    EXPECT_EQ(buffer.mNumChannels, 1);
    EXPECT_EQ(buffer.mNumSamples, 32);
    EXPECT_EQ(buffer.mChannelPointers[0], &buffer.mSamples[0][0]);
    EXPECT_EQ(buffer.mChannelPointers[1], buffer.mChannelPointers[0] + 32);
    EXPECT_EQ(buffer.channelPointers(), &buffer.mChannelPointers[0]);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.mChannelPointers[0]) % 16, 0u);
    EXPECT_EQ(buffer.channel(0), buffer.mChannelPointers[0]);
    EXPECT_EQ(sizeof(buffer.mSamples), 2 * 32 * sizeof(double));
}

TEST(ChannelsBuffer, BadCountsReportAndAreStored)
{
    NoticeCapture capture;
    dsp::ChannelsBuffer empty(0, 0);
    EXPECT_TRUE(capture.empty());

    dsp::ChannelsBuffer tooLong(2, 33);
    EXPECT_EQ(tooLong.mNumSamples, 33);
    dsp::ChannelsBuffer negative(-1, -1);  // tested unsigned, so negative counts fail too
    EXPECT_EQ(negative.mNumChannels, -1);
    dsp::ChannelsBuffer tooWide(3, 32);
    EXPECT_EQ(tooWide.mNumChannels, 3);
    EXPECT_EQ(tooWide.mChannelPointers[1], &tooWide.mSamples[1][0]);

    EXPECT_EQ(capture.heads(), (Heads{kSampleCountHead, kChannelCountHead, kSampleCountHead, kChannelCountHead}));
    EXPECT_EQ(capture.paths(), std::vector<std::string>(4, kChannelsPath));
}

TEST(ChannelsBuffer, IndexAtTheChannelCountReportsAndReturnsTheComputedRow)
{
    NoticeCapture capture;
    dsp::ChannelsBuffer buffer(1, 8);
    double* row = buffer.channel(1);
    EXPECT_EQ(row, &buffer.mSamples[1][0]);
    EXPECT_EQ(capture.heads(), Heads{"Assertion 'inChannelIndex < mNumChannels' failed"});

    // The test is signed: a negative index is not reported.
    capture.clear();
    dsp::ChannelsBuffer stereo(2, 8);
    EXPECT_EQ(stereo.channel(1), stereo.mChannelPointers[1]);
    (void)stereo.channel(-1);
    EXPECT_TRUE(capture.empty());
}

TEST(DataBuffer, CountsAreCheckedAndTheSampleCountStored)
{
    NoticeCapture capture;
    dsp::DataBuffer mono(1, 32);
    dsp::DataBuffer none(0, 0);
    EXPECT_TRUE(capture.empty());
    EXPECT_EQ(mono.mNumSamples, 32);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&mono.mSamples[0]) % 16, 0u);

    dsp::DataBuffer stereo(2, 33);
    EXPECT_EQ(stereo.mNumSamples, 33);
    ASSERT_EQ(capture.size(), 2u);
    EXPECT_EQ(capture.heads()[1], kSampleCountHead);
    EXPECT_NE(capture.heads()[0].find("inNumChannels"), std::string::npos);
    EXPECT_EQ(capture.paths(), std::vector<std::string>(2, kDataPath));
}

TEST(DataBuffer, IndexOtherThanZeroReportsAndReturnsTheSamples)
{
    NoticeCapture capture;
    dsp::DataBuffer buffer(1, 4);
    EXPECT_EQ(buffer.channel(0), &buffer.mSamples[0]);
    EXPECT_TRUE(capture.empty());
    EXPECT_EQ(buffer.channel(1), &buffer.mSamples[0]);
    EXPECT_EQ(capture.heads(), Heads{"Assertion 'inChannelIndex == 0' failed"});
}
