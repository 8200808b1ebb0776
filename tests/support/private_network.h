#pragma once

/// Gives this process a network of its own that is nothing but a loopback interface, which is up; without
/// `address` it has no IPv4 address. Returns false when the machine does not allow that. Not as root, it
/// needs the user namespace that with_empty_directories makes.
bool with_private_network(bool address);
