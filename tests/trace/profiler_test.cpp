#include "trace/profiler.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "platform/system/system.h"

namespace {

using trace::ProfilerScope;
using trace::ProfilerSection;

void Spend(u32 cycles) {
    const u64 start = trace::ReadCycles();
    while (trace::ReadCycles() - start < cycles) {
    }
}

// The cycles that the report gives for `name`; -1 without such a line.
long long Cycles(const std::string& report, const std::string& name) {
    const std::size_t line = report.find(name + ":    ");
    if (line == std::string::npos) return -1;
    const std::size_t at = report.find(", cycles: ", line);
    return std::stoll(report.substr(at + 10));
}

// One process has one tree, so the cases stand in one order.
TEST(Profiler, ReportsTheTreeAsIndentedShares) {
    EXPECT_STREQ(trace::ProfilerReport(), "");

    trace::ProfilerNode* frame = trace::ProfilerAddRoot("Frame");
    trace::ProfilerNode* part = trace::ProfilerAddChild(frame, "Part");
    trace::ProfilerAddChild(part, "Too deep");
    trace::FrameTick();
    frame->Enter();
    Spend(3000000);
    frame->Leave();
    Spend(1000000);
    trace::FrameTick();

    const u32 cycles = frame->leaveCycles - frame->enterCycles;
    EXPECT_GE(cycles, 3000000u);
    double share = 0;
    int listed = 0;
    ASSERT_EQ(std::sscanf(trace::ProfilerReport(), "\nFrame:    %lf%%, cycles: %d\n", &share, &listed), 2);
    EXPECT_EQ(static_cast<u32>(listed), cycles);
    EXPECT_GT(share, 0.0);
    EXPECT_LE(share, 100.0);
    const std::string report = trace::ProfilerReport();
    EXPECT_EQ(report.substr(report.rfind('\n')), "\n    Part:    0.0%, cycles: 0");

    trace::GetProfilerSettings() = {0, false};
    EXPECT_EQ(std::string(trace::ProfilerReport()).find("Part"), std::string::npos);
    EXPECT_EQ(std::string(trace::ProfilerReport()).find("cycles"), std::string::npos);
    trace::GetProfilerSettings() = {2, true};
    EXPECT_NE(std::string(trace::ProfilerReport()).find("\n        Too deep:"), std::string::npos);
    trace::GetProfilerSettings() = {};
}

TEST(Profiler, SectionsSumUpAndExcludeTheirSiblings) {
    static ProfilerSection whole("Whole"), outer("Outer", &whole), inner("Inner", &whole);
    trace::FrameTick();
    {
        const ProfilerScope all(whole);
        const ProfilerScope first(outer);
        Spend(2000000);
        {
            const ProfilerScope again(outer);  // counted once
            const ProfilerScope second(inner);
            Spend(5000000);
            const ProfilerScope third(outer);
            Spend(1000000);
        }
        Spend(1000000);
    }
    trace::FrameTick();
    const std::string report = trace::ProfilerReport();
    const long long all = Cycles(report, "Whole"), out = Cycles(report, "Outer"),
                    in = Cycles(report, "Inner");
    EXPECT_GE(out, 4000000);
    EXPECT_GE(in, 5000000);
    EXPECT_GE(all, out + in);

    trace::FrameTick();  // a frame in which they did not run
    EXPECT_EQ(Cycles(trace::ProfilerReport(), "Whole"), 0);
    EXPECT_EQ(Cycles(trace::ProfilerReport(), "Inner"), 0);
}

TEST(Profiler, ALongReportIsCutOff) {
    trace::ProfilerAddRoot(std::string(3000, 'x').c_str());
    EXPECT_EQ(std::string(trace::ProfilerReport()).size(), 1023u);
}

}  // namespace
