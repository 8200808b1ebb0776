/* Reads a switch with libmodbus and prints what most people want of it.

   cc -o libmodbus_example libmodbus_example.c $(pkg-config --cflags --libs libmodbus)
   ./libmodbus_example 192.0.2.10 502 */

#include <errno.h>
#include <modbus.h>
#include <stdint.h>
#include <stdio.h>

enum { PORTS = 12, SERIAL_REGISTERS = 7 };

/* Input registers (function 0x04), at most 124 in one request. libmodbus counts addresses from 0, the
   register map's numbers from 1. A read stays within what belongs together: registers between two blocks are
   refused, and what lies behind some gaps is left over from earlier replies. */
static int read_input(modbus_t *ctx, int number, int count, uint16_t *words) {
    if (modbus_read_input_registers(ctx, number - 1, count, words) == count) {
        return 1;
    }
    fprintf(stderr, "libmodbus_example: registers %d to %d: %s\n", number, number + count - 1,
            modbus_strerror(errno));
    return 0;
}

/* Two characters a register, the first in the high byte; a text ends at its first 0 or with its registers. */
static void print_text(const char *what, const uint16_t *words, int count) {
    printf("%s: ", what);
    for (int i = 0; i < 2 * count; i++) {
        const int c = i % 2 == 0 ? words[i / 2] >> 8 : words[i / 2] & 0xFF;
        if (c == 0) {
            break;
        }
        putchar(c);
    }
    putchar('\n');
}

static int show_identity(modbus_t *ctx) {
    uint16_t type, serial[SERIAL_REGISTERS], mac[3];
    /* Each begins at its first register: a read that begins further in gets zeros. */
    if (!read_input(ctx, 1001, 1, &type) || !read_input(ctx, 1065, SERIAL_REGISTERS, serial) ||
        !read_input(ctx, 1113, 3, mac)) {
        return 0;
    }
    printf("device type: %u\n", (unsigned)type);
    print_text("serial number", serial, SERIAL_REGISTERS);
    printf("MAC address: %02X:%02X:%02X:%02X:%02X:%02X\n", mac[0] >> 8U, mac[0] & 0xFFU, mac[1] >> 8U,
           mac[1] & 0xFFU, mac[2] >> 8U, mac[2] & 0xFFU);
    return 1;
}

static int show_state(modbus_t *ctx) {
    uint16_t power[2], alarm, states[PORTS], counters[2 * PORTS];
    if (!read_input(ctx, 1129, 2, power) || !read_input(ctx, 1145, 1, &alarm) ||
        !read_input(ctx, 1257, PORTS, states) || !read_input(ctx, 2217, 2 * PORTS, counters)) {
        return 0;
    }
    printf("main power: %u\nredundant power: %u\nalarm: %u\n", (unsigned)power[0], (unsigned)power[1],
           (unsigned)alarm);
    for (int i = 0; i < PORTS; i++) {
        /* The high word first; it wraps to 0 behind 4294967295. */
        const uint32_t counter = (uint32_t)counters[2 * i] << 16 | counters[2 * i + 1];
        printf("port %d: state %u, counter 6: %lu\n", i + 1, (unsigned)states[i], (unsigned long)counter);
    }
    return 1;
}

int main(int argc, char **argv) {
    if (argc != 3) {
        fputs("usage: libmodbus_example HOST PORT\n", stderr);
        return 2;
    }
    modbus_t *ctx = modbus_new_tcp_pi(argv[1], argv[2]);
    if (ctx == NULL) {
        fprintf(stderr, "libmodbus_example: %s\n", modbus_strerror(errno));
        return 1;
    }
    modbus_set_slave(ctx, 255); /* the switch answers to any unit identifier */
    if (modbus_connect(ctx) != 0) {
        fprintf(stderr, "libmodbus_example: %s port %s: %s\n", argv[1], argv[2], modbus_strerror(errno));
        modbus_free(ctx);
        return 1;
    }
    /* A program that polls keeps the connection: ten are served at a time, and the serial number is fetched
       anew on each. One that says nothing for 300 s is closed. */
    const int good = show_identity(ctx) && show_state(ctx);
    modbus_close(ctx);
    modbus_free(ctx);
    return good ? 0 : 1;
}
