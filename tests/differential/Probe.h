// What the answers of the probe share (see Probe.cpp). Each room may have answers of its own in its folder.
#pragma once

#include <sstream>
#include <string>
#include <vector>

// The parts of a question, each with a zero behind it.
inline std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, '\0');) parts.push_back(part);
  return parts;
}

std::string answerArguments(const std::string& question);
std::string answerOptions(const std::string& question);
std::string answerItem(const std::string& question);
std::string answerText(const std::string& question);
std::string answerDate(const std::string& question);
