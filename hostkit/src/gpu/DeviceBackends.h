#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

#include "GB/Device.h"

namespace GB {
namespace detail {

boost::shared_ptr<Device> CreateOpenCLDevice(std::int32_t kind, std::string* reason);
boost::shared_ptr<Device> CreateCudaDevice(std::string* reason);

}  // namespace detail
}  // namespace GB
