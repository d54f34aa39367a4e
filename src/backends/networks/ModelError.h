#pragma once

#include <stdexcept>

namespace velmaro::networks {

/// A model file that cannot be used: damaged, or made of what this program does not know. Thrown
/// while loading only and never leaves this folder: the functions that others call give a Result.
class ModelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace velmaro::networks
