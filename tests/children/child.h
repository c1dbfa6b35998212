#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What the child program of the tests asks of its system.
namespace child {

/// The words of the command line in UTF-8, the program's name first. From then on standard output
/// and error take bytes as they are.
std::vector<std::string> prepare(int count, char** words);

std::int64_t own_id();

/// With the streams of this process, as its child; gives what `collect` takes.
std::intptr_t start(const std::vector<std::string>& arguments);

void collect(std::intptr_t started);

void wait_for_end_of(std::int64_t parent_id);

/// As somebody else would end this process, asking or at once.
void end(bool at_once);

/// From now on nobody can ask this process to end, where that is possible.
void ignore_requests_to_end();

/// A socket of 127.0.0.1; port 0 is any.
std::intptr_t bound_socket(int port, bool shares_address);
int port_of(std::intptr_t socket);
std::intptr_t next_client(std::intptr_t server);
std::intptr_t connection_to(int port);
std::string receive_some(std::intptr_t socket);
void send_and_close(std::intptr_t socket, const std::string& text);

}  // namespace child
