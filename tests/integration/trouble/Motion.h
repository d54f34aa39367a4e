#pragma once

#include <string>
#include <vector>

#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {

/// A head that is turned 10 degrees and still, sent fifty times a second for as long as one likes.
class StillHead {
public:
    [[nodiscard]] std::vector<std::string> sentTo(const std::string& address,
                                                  const Receiver& receiver) const {
        return {"--motion-file", file_,    "--input",       "airpods", "--ip",
                address,         "--port", receiver.port(), "--rate",  "60"};
    }

private:
    TemporaryFolder folder_;
    const std::string file_ = folder_.write("still.txt",
                                            "# velmaro motion 1\n"
                                            "time yaw pitch roll\n"
                                            "0.00 10 0 0\n"
                                            "0.02 10 0 0\n"
                                            "0.04 10 0 0\n");
};

/// True once `more` further messages have come.
inline bool goesOn(const Receiver& receiver, std::size_t more = 10) {
    return receiver.waitFor(receiver.messages().size() + more);
}

}  // namespace velmaro::integration
