// The timeline: what a band keeps as a run goes on (bounded by what changes,
// not by virtual time), and the picture drawn from it.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Moment.h"
#include "Timeline.h"
#include "timeline/Bands.h"
#include "timeline/Svg.h"

namespace daksim {
namespace {

constexpr uint32_t kStart = 1709622000;  // 2024-03-05T07:00:00Z

size_t Count(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(TimelineBandsTest, ASeriesKeepsOnlyChangesBeyondItsSlack)
{
    timeline::Series series;
    series.Add(0, 0, 100, 1);
    series.Add(1000, 0, 101, 1);  // within a second: the same reading
    series.Add(2000, 1, 99, 1);
    series.Add(3000, 1, 103, 1);  // a jump
    series.Add(4000, 2, 103, 0);
    ASSERT_EQ(series.points.size(), 2U);
    EXPECT_EQ(series.points[1].t, 3000U);
    EXPECT_EQ(series.points[1].step, 1U);
    EXPECT_EQ(series.points[1].value, 103);

    // Past its bound a series counts what it left out instead of growing.
    timeline::Series busy;
    for (size_t i = 0; i < timeline::kMaxPoints + 5; ++i) {
        busy.Add(i, 0, static_cast<int64_t>(i), 0);
    }
    EXPECT_EQ(busy.points.size(), timeline::kMaxPoints);
    EXPECT_EQ(busy.dropped, 5U);
}

TEST(TimelineBandsTest, TicksAtASteadyPeriodAreOneRun)
{
    std::vector<timeline::Ticks> runs;
    for (uint64_t t = 30000; t <= 300000; t += 30000) {
        timeline::AddTick(runs, t);
    }
    timeline::AddTick(runs, 300000);  // the same moment twice is one tick
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].first, 30000U);
    EXPECT_EQ(runs[0].period, 30000U);
    EXPECT_EQ(runs[0].count, 10U);

    // A tick off the period starts a new run, which takes its own period.
    timeline::AddTick(runs, 310000);
    timeline::AddTick(runs, 315000);
    timeline::AddTick(runs, 320000);
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[1].first, 310000U);
    EXPECT_EQ(runs[1].period, 5000U);
    EXPECT_EQ(runs[1].count, 3U);
}

TEST(TimelineTest, AQuietYearCostsWhatAQuietMinuteDoes)
{
    Timeline timeline;
    timeline.BeginFile("year.scn", Moment{0, kStart});
    timeline.StepBegins(Moment{0, kStart});
    timeline.ClockSetByLibrary(Moment{0, kStart}, kStart);
    const uint64_t year = 365ULL * 86400 * 1000;
    for (uint64_t t = 30000; t <= year; t += 30000) {
        const Moment moment{t, static_cast<uint32_t>(kStart + t / 1000)};
        timeline.SyncFired(moment);
        timeline.Clocks(moment, moment.clock);
    }
    timeline.EndFile(Moment{year, static_cast<uint32_t>(kStart + year / 1000)});
    const std::string svg = timeline.Svg();
    // A year of syncs is one shaded span, and clocks in step are one line each.
    EXPECT_LT(svg.size(), 20000U);
    EXPECT_EQ(Count(svg, "fill='#d62728' fill-opacity='0.45'"), 1U);
    EXPECT_EQ(Count(svg, "' fill='none' stroke="), 2U);
}

TEST(TimelineTest, DrawsABandPerFileWithItsMarks)
{
    Timeline timeline;
    for (const char* name : {"a.scn", "b <&> 'c'.scn"}) {
        timeline.BeginFile(name, Moment{0, kStart});
        timeline.StepBegins(Moment{0, kStart});
        timeline.Setting(Moment{0, kStart}, 0, true);
        timeline.Setting(Moment{0, kStart}, 1, false);
        timeline.StepBegins(Moment{1000, kStart + 1});
        timeline.Stream(Moment{1000, kStart + 1}, "1/0", kStart + 3600);
        timeline.Table(Moment{1000, kStart + 1}, "1/0", Timeline::TableMark::Lost);
        timeline.Reason(Moment{1000, kStart + 1}, 3);
        timeline.AutoClock(Moment{1000, kStart + 1}, 0);
        timeline.EndFile(Moment{2000, kStart + 2});
    }
    const std::string svg = timeline.Svg();
    EXPECT_EQ(svg.rfind("<?xml", 0), 0U);
    EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
    // The file's name is text, whatever it holds.
    EXPECT_EQ(Count(svg, "font-weight='bold' font-size='15'"), 2U);
    EXPECT_NE(svg.find(">b &lt;&amp;&gt; &#39;c&#39;.scn</text>"), std::string::npos);
    EXPECT_EQ(Count(svg, "SetType_manual accepted"), 2U);
    EXPECT_EQ(Count(svg, "SetType_stream refused"), 2U);
    EXPECT_EQ(Count(svg, ">stream 1/0</text>"), 2U);
    EXPECT_EQ(Count(svg, "<title>Reason_stream</title>"), 2U);
    // A table lost to damage is a cross: two strokes.
    EXPECT_EQ(Count(svg, "' stroke='#000' stroke-width='1.5'/>\n<line"), 2U);
}

TEST(TimelineSvgTest, EscapesMarkupAndDropsControlCharacters)
{
    EXPECT_EQ(timeline::Escape("a<b>&\"c'\x1b[0m\td"), "a&lt;b&gt;&amp;&quot;c&#39;[0m\td");
    EXPECT_EQ(timeline::Number(2.25), "2.2");
    EXPECT_EQ(timeline::Number(-0.04), "-0.0");
}

TEST(TimelineSvgTest, TheScaleSharesTheWidthAmongStepsAndTime)
{
    // Three steps: two take no virtual time, the last a minute.
    const timeline::Scale scale({0, 0, 0}, 60000);
    const double left = timeline::kLeft;
    const double right = scale.Right();
    // Half of the width goes to the steps (a sixth each), half to time.
    EXPECT_NEAR(scale.X(0, 0), left + (right - left) / 12, 0.01);
    EXPECT_NEAR(scale.X(0, 2), left + (right - left) / 3, 0.01);
    EXPECT_NEAR(scale.X(60000, 2), right, 0.01);
    EXPECT_LT(scale.X(30000), scale.X(45000));
    // Differences: zero in the middle, a jump forward above, backward below.
    timeline::Scale plot({0}, 0);
    plot.plotTop = 100;
    EXPECT_NEAR(plot.Y(0), 100 + timeline::kPlotHeight / 2.0, 0.01);
    EXPECT_LT(plot.Y(60), plot.Y(0));
    EXPECT_GT(plot.Y(-60), plot.Y(0));
    EXPECT_NEAR(plot.Y(60) - plot.Y(0), plot.Y(0) - plot.Y(-60), 0.01);
}

}  // namespace
}  // namespace daksim
