// The headers that nearly every file needs, compiled once per preset. A file must still include what it uses.
#pragma once

#include <boost/asio.hpp>
#include <boost/describe.hpp>
#include <boost/json.hpp>
#include <fmt/format.h>
#include <sigc++/sigc++.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>
