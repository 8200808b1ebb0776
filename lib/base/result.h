#pragma once

/// Says in the code that a result is deliberately not looked at; the reason stands in a comment at the call.
template<typename T> constexpr void ignore_result(T && /*result*/) {}
