// Runs the cases on standard input with jsmodbus, each on a connection of its own; lines as clients.py tells.
"use strict";

const net = require("net");
const readline = require("readline");
const { once } = require("events");
const Modbus = require(require.resolve("jsmodbus", { paths: [process.cwd()] }));

const wordsToWrite = (count) => Array.from({ length: count }, (_, i) => 0x1200 + i);
const bitsToWrite = (count) => Array.from({ length: count }, (_, i) => i % 3 === 0);

const calls = {
    0x01: (c, r) => c.readCoils(r.address, r.count),
    0x02: (c, r) => c.readDiscreteInputs(r.address, r.count),
    0x03: (c, r) => c.readHoldingRegisters(r.address, r.count),
    0x04: (c, r) => c.readInputRegisters(r.address, r.count),
    0x05: (c, r) => c.writeSingleCoil(r.address, true),
    0x06: (c, r) => c.writeSingleRegister(r.address, wordsToWrite(1)[0]),
    0x0f: (c, r) => c.writeMultipleCoils(r.address, bitsToWrite(r.count)),
    0x10: (c, r) => c.writeMultipleRegisters(r.address, wordsToWrite(r.count)),
    0x2b: (c) => c.readDeviceIdentification(),
};

function failure(error) {
    if (error.err === "ModbusException") return `exception ${error.response.body.code}`;
    if (error.err === "Timeout") return "time-out";
    if (error.err === "Offline") return "closed";
    return error.err === undefined ? "own limit" : `error: ${error.err}`; // without err nothing was sent
}

async function result(client, request) {
    const call = calls[request.function];
    if (call === undefined) return "not offered";
    try {
        const reply = await call(client, request);
        if ([0x06, 0x10].includes(request.function)) {
            const back = await client.readHoldingRegisters(request.address, request.count);
            const same = back.response.body.valuesAsArray.join() === wordsToWrite(request.count).join();
            return same ? "ok" : "error: read back otherwise";
        }
        const values = [0x03, 0x04].includes(request.function) ? reply.response.body.valuesAsArray : [];
        return ["ok", ...values].join(" ");
    } catch (error) {
        return failure(error);
    }
}

async function main() {
    for await (const line of readline.createInterface({ input: process.stdin })) {
        const [code, unit, address, count] = line.split(" ").map(Number);
        const socket = new net.Socket();
        const client = new Modbus.client.TCP(socket, unit, 2000);
        socket.connect({ host: process.argv[2], port: Number(process.argv[3]) });
        await once(socket, "connect");
        console.log(await result(client, { function: code, unit, address, count }));
        socket.destroy();
    }
}

main();
