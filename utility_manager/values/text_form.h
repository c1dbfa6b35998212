#pragma once

#include <string>

#include "utility_manager/values/value.h"

namespace utility_manager::values {

/// The text that Python's `str` gives for a value: a text as it is, `True`, `None`, `1.5`,
/// `[1, 'a']`, `{'k': None}`. Inside a list or mapping ill-formed bytes are escaped as Python does
/// with those of a path: `\udcff`. A value of the host has the text that the host gives.
std::string text_form(const Value& value);

/// The text that Python's `repr` gives: as `text_form`, with a text in quotes.
std::string repr_form(const Value& value);

/// A real in the shortest form that reads back as itself, as Python writes it: `1e+16`, `1e-05`,
/// `-0.0`, `100000.0`, and `nan`, `inf`, `-inf` for what is not finite.
std::string real_form(double value);

}  // namespace utility_manager::values
