#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

using octets = std::vector<uint8_t>;

/// A raw Modbus TCP client of the tests: sends what it is told, however wrong, and shows what came back.
class modbus_client {
public:
    /// Connects to 127.0.0.1, trying again until something listens there, at most 20 s.
    explicit modbus_client(uint16_t port);
    ~modbus_client();
    modbus_client(const modbus_client &) = delete;
    modbus_client &operator=(const modbus_client &) = delete;

    [[nodiscard]] int fd() const { return m_fd; }

    /// Sends raw bytes; false when the connection is gone.
    bool send(const octets &data);
    /// Receives exactly `count` bytes, or fewer at the end of the connection or after 10 s.
    octets receive(size_t count);
    /// Whether the peer closes the connection without another byte, within 10 s.
    bool is_closed_by_peer();
    /// Sends a PDU in an ADU and returns the reply's PDU; empty when none came or its header was wrong.
    octets exchange(const octets &pdu);
    /// exchange() of a read: the registers' values, empty on an exception.
    std::vector<uint16_t> read(uint8_t function, uint16_t number, uint16_t count);

private:
    int m_fd = -1;
    uint16_t m_transaction = 0x1200;
};

/// An ADU around a PDU: unit identifier 17.
octets make_adu(uint16_t transaction, const octets &pdu);

/// A port that was free a moment ago; 0 when there is none.
uint16_t free_port();
