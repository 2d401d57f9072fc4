#include "dsp/containers/dsp_ChannelsBuffer.h"
#include "dsp/containers/dsp_DataBuffer.h"
#include "support/NoticeCapture.h"

#include <gtest/gtest.h>

using Heads = std::vector<std::string>;

TEST(Buffers, CountsAndIndicesReportAndCarryOn)
{
    const std::string samples = "Assertion 'inNumSamples <= MaxNumSamples && inNumSamples >= 0' failed";
    const std::string channels = "Assertion 'inNumChannels <= MaxNumChannels && inNumChannels >= 0' failed";
    q38test::NoticeCapture capture;
    dsp::ChannelsBuffer mono(1, 32);
    EXPECT_EQ(mono.mChannelPointers[0], &mono.mSamples[0][0]);
    EXPECT_EQ(mono.mChannelPointers[1], mono.mChannelPointers[0] + 32);  // set although unused
    EXPECT_TRUE(capture.empty());
    dsp::ChannelsBuffer tooLong(2, 33), negative(-1, -1), tooWide(3, 32);  // counts tested unsigned
    EXPECT_TRUE(tooLong.mNumSamples == 33 && negative.mNumChannels == -1 && tooWide.mNumChannels == 3);
    EXPECT_EQ(capture.heads(), (Heads{samples, channels, samples, channels}));
    EXPECT_EQ(capture.paths(), Heads(4, "src/libraries/dsp/containers/dsp_ChannelsBuffer.h"));
    // An index at the channel count reports and returns the row it computes; the test is signed.
    capture.clear();
    EXPECT_EQ(mono.channel(1), &mono.mSamples[1][0]);
    (void)tooLong.channel(-1);
    EXPECT_EQ(capture.heads(), Heads{"Assertion 'inChannelIndex < mNumChannels' failed"});

    capture.clear();
    dsp::DataBuffer data(1, 32), stereo(2, 33);
    EXPECT_EQ(stereo.mNumSamples, 33);
    ASSERT_EQ(capture.size(), 2u);
    EXPECT_NE(capture.heads()[0].find("inNumChannels"), std::string::npos);
    EXPECT_EQ(capture.heads()[1], samples);
    capture.clear();
    EXPECT_TRUE(data.channel(0) == &data.mSamples[0] && data.channel(1) == &data.mSamples[0]);
    EXPECT_EQ(capture.heads(), Heads{"Assertion 'inChannelIndex == 0' failed"});
}
