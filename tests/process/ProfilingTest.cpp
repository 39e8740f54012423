#include <tvk/process/Profiling.h>

#include "support/Support.h"

TEST(Profiling, AddsUpAndShows) {
  tvk::ProfilingImpl run("run");
  tvk::ProfilingImpl& part = run.AddChild("part");
  part.AddChild("detail").AddMilliseconds(1259);
  part.AddMilliseconds(100'009);
  EXPECT_EQ(run.Report(), "run 00.00\n  part 100.00\n    detail 01.25\n");
  for (const tvk::ProfilingScope scope(run); run.TotalMilliseconds() < 2; run.Start()) run.Stop();
}
