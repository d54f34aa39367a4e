#include "backends/gstreamer/Library.h"

#include <gmock/gmock.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include "fakes/Diagnostics.h"

namespace velmaro::gstreamer {
namespace {

using testing::ElementsAre;

TEST(LibraryMessages, AreReportedALineEachWhileSomebodyListens) {
    ASSERT_FALSE(ensureLibrary());
    fakes::CapturedDiagnostics outer;
    fakes::CapturedDiagnostics inner;
    {
        const LibraryMessages outerMessages(outer);
        {
            const LibraryMessages innerMessages(inner);
            g_log("Camera", G_LOG_LEVEL_WARNING, "two\nlines\n");
        }
        g_print("printed\n");
        g_printerr("printed as an error");
        g_log("Camera", G_LOG_LEVEL_DEBUG, "for developers");
    }
    g_log("Camera", G_LOG_LEVEL_WARNING, "nobody listens");
    ASSERT_THAT(inner.lines(), ElementsAre("the library Camera says: two lines"));
    EXPECT_EQ(inner.all()[0].kind, Diagnostic::Kind::warning);
    EXPECT_THAT(outer.lines(), ElementsAre("printed", "printed as an error"));
}

}  // namespace
}  // namespace velmaro::gstreamer
