// The least that one poll can cost: its work written by hand, and nothing else. With --log it
// writes the lines of a reader with the usual log too, and so is the least that a daemon that logs
// can cost. Usage: floor [--log]     polls until it is ended
//
// A poll is three HTTP requests with a fresh libcurl handle each, their replies parsed by json-c
// into plain structs, and for each meter and register a pause and one read by libmodbus, decoded in
// single precision; then one message per meter, built by json-c, over a connection of its own. The
// house never fails, so any failure ends the program.
//
// The lines of --log have the texts, the time stamp, the write and the sync of the reader's, and
// the text of all words of the buffer is made for each register.

#define _GNU_SOURCE
#include <curl/curl.h>
#include <errno.h>
#include <json-c/json.h>
#include <math.h>
#include <modbus/modbus.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#define BASE_URL "http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/"
#define SOCKET_PATH "/var/run/orv-metering.sock"
#define CONFIG_PATH "/etc/modbus-config.json"

enum { bufferWords = 255, valueCount = 16, textSize = 64 };

static const char* const fieldNames[] = {
    "none",
    "powerImport",
    "powerExport",
    "energyImport",
    "energyExport",
    "energyImportTariff1",
    "energyImportTariff2",
    "energyImportTariff3",
    "energyImportTariff4",
    "energyImportTariff5",
    "energyImportTariff6",
    "energyExportTariff1",
    "energyExportTariff2",
    "energyExportTariff3",
    "energyExportTariff4",
    "energyExportTariff5",
    "energyExportTariff6",
    "model",
    "manufacturer",
    "dateTime",
    "serial",
    "tariffEnabled",
    NULL,
};
enum {
    powerImport = 1,
    powerExport = 2,
    energyImport = 3,
    energyExport = 4,
    energyImportTariff1 = 5,
    energyImportTariff6 = 10,
    energyExportTariff1 = 11,
    energyExportTariff6 = 16,
    serialField = 20,
    tariffEnabledField = 21,
};

static const char* const typeNames[] = {
    "none",   "int16",   "uint16", "int32",  "uint32",   "int64",
    "uint64", "float32", "ascii",  "bitmap", "dateTime", NULL,
};
static const int wordsOfType[] = {1, 1, 1, 2, 2, 4, 4, 2, 1, 1, 2};
enum {
    uint16Type = 2,
    uint32Type = 4,
    uint64Type = 6,
    float32Type = 7,
};

static const char* const spaceNames[] = {"none", "input", "holding", NULL};
enum { inputSpace = 1, holdingSpace = 2 };

/// Of a record's values, in the order of the message.
static const char* const valueNames[valueCount] = {
    "powerConsumed",    "powerProduced",    "energyConsumed",   "energyProduced",
    "t1EnergyConsumed", "t1EnergyProduced", "t2EnergyConsumed", "t2EnergyProduced",
    "t3EnergyConsumed", "t3EnergyProduced", "t4EnergyConsumed", "t4EnergyProduced",
    "t5EnergyConsumed", "t5EnergyProduced", "t6EnergyConsumed", "t6EnergyProduced",
};
enum {
    powerConsumed = 0,
    powerProduced = 1,
    energyConsumed = 2,
    energyProduced = 3,
    t1EnergyConsumed = 4,
    t1EnergyProduced = 5,
};

struct Register {
    int address, field, type, length, space;
    float scale;
};

// The texts of models and meters belong to the parsed reply.
struct Model {
    const char *id, *displayName, *model, *manufacturer;
    struct Register* registers;
    size_t count;
};

struct Meter {
    const char *id, *configId, *model, *manufacturer, *serial, *name, *application;
    bool tariffEnabled, isGlobal;
    int slaveAddress;
};

struct SerialConfig {
    char device[textSize], baudRate[16], parity[16], dataBits[16], stopBits[16];
};

struct Record {
    char id[textSize];
    int slaveAddress;
    bool tariffEnabled;
    struct timespec lastChanged;
    double values[valueCount];
};

static modbus_t* bus;
static struct SerialConfig serialConfig;
static bool logging;

static void fail(const char* what, const char* why) {
    fprintf(stderr, "floor: %s: %s\n", what, why);
    exit(1);
}

// Log lines

static char text[4 << 20];
static size_t textLength;

__attribute__((format(printf, 1, 2))) static void put(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text + textLength, sizeof text - textLength, format, arguments);
    va_end(arguments);
    textLength += (size_t)length;
    if (textLength >= sizeof text)
        abort();
}

static void writeAll(const char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = write(STDERR_FILENO, data, size);
        if (written < 0)
            return;
        data += written;
        size -= (size_t)written;
    }
}

/// Begins a line in `text`; `endLine` writes and syncs it.
static void beginLine(const char* severity, const char* channel) {
    struct timespec now;
    struct tm local;
    char date[32];
    char zone[8];
    clock_gettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &local);
    strftime(date, sizeof date, "%FT%T", &local);
    strftime(zone, sizeof zone, "%z", &local);
    textLength = (size_t)sprintf(text, "[%s.%03ld%.3s:%s] %5d %s %s ", date, now.tv_nsec / 1000000,
                                 zone, zone + 3, gettid(), severity, channel);
}

static void endLine(const char* position) {
    put(" %s\n", position);
    writeAll(text, textLength);
    fsync(STDERR_FILENO);
}

#define LINE(severity, channel, position, ...)                                                     \
    do {                                                                                           \
        if (logging) {                                                                             \
            beginLine(severity, channel);                                                          \
            put(__VA_ARGS__);                                                                      \
            endLine(position);                                                                     \
        }                                                                                          \
    } while (false)
#define MAIN_LINE(...) LINE("NOTIC", "modbusreaderMain", "main.cpp:74", __VA_ARGS__)
#define SERIAL_LINE(...) LINE("NOTIC", "modbusSerial", "toolkit.cpp:217", __VA_ARGS__)
#define WRITER_LINE(severity, ...)                                                                 \
    LINE(severity, "modbusreaderSocketWriter", "socket-writer.cpp:51", __VA_ARGS__)

static void putRegisters(const struct Model* model) {
    put("[");
    for (size_t i = 0; i < model->count; ++i) {
        const struct Register* r = &model->registers[i];
        put("%s{\"address\":%d,\"fieldType\":%s,\"modbusDataType\":%s,\"length\":%d,"
            "\"scaleValue\":%g,\"registerType\":%s}",
            i > 0 ? "," : "", r->address, fieldNames[r->field], typeNames[r->type], r->length,
            (double)r->scale, spaceNames[r->space]);
    }
    put("]");
}

static void logMatch(const struct Meter* meter, const struct Model* model) {
    if (!logging)
        return;
    beginLine("NOTIC", "modbusSerial");
    put("Reading meter meter:{\"id\":%s,\"configId\":%s,\"model\":%s,\"manufacturer\":%s,"
        "\"serial\":%s,\"name\":%s,%s%s\"slaveAddress\":%d,\"application\":%s} ",
        meter->id, meter->configId, meter->model, meter->manufacturer, meter->serial, meter->name,
        meter->tariffEnabled ? "\"tariffEnabled\":1," : "",
        meter->isGlobal ? "\"isGlobal\":1," : "", meter->slaveAddress, meter->application);
    put("config:{\"id\":%s,\"displayName\":%s,\"model\":%s,\"manufacturer\":%s,\"registers\":",
        model->id, model->displayName, model->model, model->manufacturer);
    putRegisters(model);
    put("}");
    endLine("toolkit.cpp:301");
    beginLine("NOTIC", "modbusSerial");
    put("Reading meter slaveAddress:%d meterConfig.registers:", meter->slaveAddress);
    putRegisters(model);
    endLine("toolkit.cpp:312");
    SERIAL_LINE("Reading meter now slaveAddress:%d", meter->slaveAddress);
}

static void logRecord(const struct Record* record) {
    if (!logging)
        return;
    char date[32];
    struct tm utc;
    gmtime_r(&record->lastChanged.tv_sec, &utc);
    strftime(date, sizeof date, "%FT%T", &utc);
    beginLine("NOTIC", "modbusSerial");
    put("Reading aReading:{\"id\":%s,\"slaveAddress\":%d,\"meteringType\":modbus,"
        "\"lastChanged\":%s.%03ldZ",
        record->id, record->slaveAddress, date, record->lastChanged.tv_nsec / 1000000);
    if (record->tariffEnabled)
        put(",\"tariffEnabled\":1");
    for (int i = 0; i < valueCount; ++i)
        if (record->values[i] != 0.0)
            put(",\"%s\":%g", valueNames[i], record->values[i]);
    put("}");
    endLine("toolkit.cpp:405");
}

static void putSerialConfig(const struct SerialConfig* c) {
    put("{\"serialDevice\":%s,\"baudRate\":%s,\"parity\":%s,\"dataBits\":%s,\"stopBits\":%s}",
        c->device, c->baudRate, c->parity, c->dataBits, c->stopBits);
}

static void logSerialConfig(const struct SerialConfig* fromServer) {
    if (!logging)
        return;
    beginLine("NOTIC", "modbusSerial");
    put("querySerialConnectionConfig m_config:");
    putSerialConfig(&serialConfig);
    put(" serverConfig.data:");
    putSerialConfig(fromServer);
    endLine("toolkit.cpp:228");
}

/// The text of all words of the buffer, which the reader makes whether it shows or not.
static void makeWordsText(const uint16_t* words) {
    char out[bufferWords * 6 + 1];
    char digits[6];
    char* end = out;
    for (int i = 0; i < bufferWords; ++i) {
        unsigned rest = words[i];
        unsigned count = 0;
        *end++ = ' ';
        do
            digits[count++] = (char)('0' + rest % 10);
        while (rest /= 10);
        while (count > 0)
            *end++ = digits[--count];
    }
    *end = '\0';
    // Else the compiler would leave out a text that nobody reads.
    __asm__ volatile("" : : "r"(out) : "memory");
}

// Requests and replies

struct Body {
    char* data;
    size_t size;
};

static size_t append(void* data, size_t size, size_t count, void* user) {
    struct Body* body = user;
    const size_t added = size * count;
    body->data = realloc(body->data, body->size + added + 1);
    if (body->data == NULL)
        return 0;
    memcpy(body->data + body->size, data, added);
    body->size += added;
    body->data[body->size] = '\0';
    return added;
}

static struct Body get(const char* url) {
    struct Body body = {NULL, 0};
    char error[CURL_ERROR_SIZE] = "";
    long code = -1;
    CURL* handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, url);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 1L);
    curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, 120L);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    if (curl_easy_perform(handle) != CURLE_OK)
        fail(url, error);
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &code);
    if (code != 200)
        fail(url, "not answered with 200");
    curl_easy_cleanup(handle);
    return body;
}

static json_object* parse(struct Body body) {
    json_tokener* tokener = json_tokener_new();
    json_object* object = json_tokener_parse_ex(tokener, body.data, -1);
    json_tokener_free(tokener);
    return object;
}

static json_object* member(json_object* object, const char* name) {
    json_object* value = NULL;
    json_object_object_get_ex(object, name, &value);
    return value;
}

static const char* textOf(json_object* object, const char* name) {
    json_object* value = member(object, name);
    return value != NULL ? json_object_get_string(value) : "";
}

static int numberOf(json_object* object, const char* name) {
    json_object* value = member(object, name);
    return value != NULL ? (int)json_object_get_int64(value) : 0;
}

static int enumeratorOf(json_object* object, const char* name, const char* const* names,
                        int missing) {
    json_object* value = member(object, name);
    if (value == NULL)
        return missing;
    const char* wanted = json_object_get_string(value);
    for (int i = 0; names[i] != NULL; ++i)
        if (strcmp(names[i], wanted) == 0)
            return i;
    return 0;
}

static size_t lengthOf(json_object* array) {
    return array != NULL ? json_object_array_length(array) : 0;
}

static struct Meter parseMeter(json_object* object) {
    return (struct Meter){
        .id = textOf(object, "id"),
        .configId = textOf(object, "configId"),
        .model = textOf(object, "model"),
        .manufacturer = textOf(object, "manufacturer"),
        .serial = textOf(object, "serial"),
        .name = textOf(object, "name"),
        .application = textOf(object, "application"),
        .tariffEnabled = json_object_get_boolean(member(object, "tariffEnabled")) != 0,
        .isGlobal = json_object_get_boolean(member(object, "isGlobal")) != 0,
        .slaveAddress = numberOf(object, "slaveAddress"),
    };
}

static struct Register parseRegister(json_object* object) {
    json_object* scale = member(object, "scaleValue");
    return (struct Register){
        .address = numberOf(object, "address"),
        .field = enumeratorOf(object, "fieldType", fieldNames, 0),
        .type = enumeratorOf(object, "modbusDataType", typeNames, 0),
        .length = numberOf(object, "length"),
        .space = enumeratorOf(object, "registerType", spaceNames, holdingSpace),
        .scale = scale != NULL ? (float)json_object_get_double(scale) : 1.0F,
    };
}

static struct Model parseModel(json_object* object) {
    json_object* registers = member(object, "registers");
    struct Model model = {
        .id = textOf(object, "id"),
        .displayName = textOf(object, "displayName"),
        .model = textOf(object, "model"),
        .manufacturer = textOf(object, "manufacturer"),
        .count = lengthOf(registers),
    };
    model.registers = calloc(model.count + 1, sizeof *model.registers);
    for (size_t i = 0; i < model.count; ++i)
        model.registers[i] = parseRegister(json_object_array_get_idx(registers, i));
    return model;
}

// The bus

static void reconnect(void) {
    json_object* file = json_object_from_file(CONFIG_PATH);
    json_object* config = member(file, "modbusMiscConfig");
    const int response = numberOf(config, "timeoutResponseSec");
    const int indication = numberOf(config, "timeoutIndicationSec");
    modbus_close(bus);
    modbus_free(bus);
    bus = modbus_new_tcp(textOf(config, "modbusTCPServer"), numberOf(config, "port"));
    if (modbus_connect(bus) == -1)
        fail("connect", modbus_strerror(errno));
    modbus_set_response_timeout(bus, response != 0 ? (uint32_t)response : 5, 0);
    modbus_set_indication_timeout(bus, indication != 0 ? (uint32_t)indication : 5, 0);
    json_object_put(file);
}

static void querySerialConfig(void) {
    const struct Body body = get(BASE_URL "rtuconfig");
    SERIAL_LINE("result:%s", body.data);
    json_object* reply = parse(body);
    json_object* data = member(reply, "data");
    struct SerialConfig c = {0};
    snprintf(c.device, sizeof c.device, "%s", textOf(data, "serialDevice"));
    snprintf(c.baudRate, sizeof c.baudRate, "%s", textOf(data, "baudRate"));
    snprintf(c.parity, sizeof c.parity, "%s", textOf(data, "parity"));
    snprintf(c.dataBits, sizeof c.dataBits, "%s", textOf(data, "dataBits"));
    snprintf(c.stopBits, sizeof c.stopBits, "%s", textOf(data, "stopBits"));
    logSerialConfig(&c);
    if (memcmp(&c, &serialConfig, sizeof c) != 0) {
        serialConfig = c;
        reconnect();
    }
    json_object_put(reply);
    free(body.data);
}

/// The place in a record of an energy.
static int placeOf(int field) {
    if (field == energyImport)
        return energyConsumed;
    if (field == energyExport)
        return energyProduced;
    return field <= energyImportTariff6 ? t1EnergyConsumed + 2 * (field - energyImportTariff1)
                                        : t1EnergyProduced + 2 * (field - energyExportTariff1);
}

static void convert(struct Record* record, float value, int field, float scale) {
    SERIAL_LINE("value:%g modbusFieldType:%s scaleValue:%g", (double)value, fieldNames[field],
                (double)scale);
    if (field == powerImport) {
        value = value * scale;
        if (value > 0)
            record->values[powerConsumed] = (double)value;
        else
            record->values[powerProduced] = -(double)value;
    } else if (field == powerExport) {
        record->values[powerProduced] = (double)(value * scale);
    } else if (field >= energyImport && field <= energyExportTariff6) {
        value = value * scale;
        value = value * 3600.0F;
        value = value * 1000.0F;
        record->values[placeOf(field)] = (double)value;
    } else if (field == tariffEnabledField) {
        record->tariffEnabled = value > 0;
    }
}

static void decode(struct Record* record, const struct Register* r, const uint16_t* words) {
    const uint32_t two = (uint32_t)words[0] << 16 | words[1];
    const uint64_t four = (uint64_t)two << 32 | (uint32_t)words[2] << 16 | words[3];
    const bool isMeasured = r->field >= powerImport && r->field <= energyExportTariff6;
    if (r->type == uint16Type && r->field >= powerImport && r->field <= tariffEnabledField)
        convert(record, (float)words[0], r->field, r->scale);
    else if (!isMeasured)
        return;
    else if (r->type == float32Type)
        convert(record, modbus_get_float_abcd(words), r->field, r->scale);
    else if (r->type == uint64Type)
        convert(record, (float)four, r->field, r->scale);
    else if (r->type == uint32Type)
        convert(record, (float)two, r->field, r->scale);
}

// The message

static void sendMessage(const char* message, size_t size) {
    const struct sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = SOCKET_PATH};
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    WRITER_LINE("DEBUG", "Connect");
    if (connect(fd, (const struct sockaddr*)&address, sizeof address) != 0)
        fail(SOCKET_PATH, strerror(errno));
    if (logging)
        writeAll("=================================\n", 34);
    WRITER_LINE("NOTIC", "Writing  m_buffer:%s", message);
    const ssize_t sent = send(fd, message, size, MSG_NOSIGNAL);
    WRITER_LINE("NOTIC", "TRANSFERRED  self->m_buffer.size():%zu size:%zd", size, sent);
    close(fd);
}

static void sendRecord(const struct Record* record) {
    char date[32];
    char moment[64];
    struct tm utc;
    json_object* o = json_object_new_object();
    json_object_object_add(o, "id", json_object_new_string(record->id));
    if (record->slaveAddress != 0)
        json_object_object_add(o, "slaveAddress", json_object_new_int64(record->slaveAddress));
    json_object_object_add(o, "meteringType", json_object_new_string("modbus"));
    gmtime_r(&record->lastChanged.tv_sec, &utc);
    strftime(date, sizeof date, "%FT%T", &utc);
    snprintf(moment, sizeof moment, "%s.%03ldZ", date, record->lastChanged.tv_nsec / 1000000);
    json_object_object_add(o, "lastChanged", json_object_new_string(moment));
    if (record->tariffEnabled)
        json_object_object_add(o, "tariffEnabled", json_object_new_boolean(1));
    for (int i = 0; i < valueCount; ++i) {
        const double value = record->values[i];
        if (value != 0.0)
            json_object_object_add(o, valueNames[i],
                                   isfinite(value) ? json_object_new_double(value) : NULL);
    }
    size_t size = 0;
    const char* message = json_object_to_json_string_length(o, JSON_C_TO_STRING_PLAIN, &size);
    sendMessage(message, size);
    json_object_put(o);
}

// The poll

static void takeAttachedSerial(struct Record* record, const struct Meter* meters, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (meters[i].slaveAddress == record->slaveAddress && *meters[i].serial != '\0') {
            snprintf(record->id, sizeof record->id, "%s", meters[i].serial);
            return;
        }
    }
    fail("serial", "not on the list of meters");
}

static void readRegister(struct Record* record, const struct Register* r) {
    uint16_t words[bufferWords] = {0};
    const int count = r->length * wordsOfType[r->type];
    modbus_set_slave(bus, record->slaveAddress);
    usleep(20000);
    const int got = r->space == inputSpace
                        ? modbus_read_input_registers(bus, r->address, count, words)
                        : modbus_read_registers(bus, r->address, count, words);
    if (got == -1)
        fail("read", modbus_strerror(errno));
    if (logging)
        makeWordsText(words);
    decode(record, r, words);
}

static void readMeter(const struct Meter* meter, const struct Model* model,
                      const struct Meter* meters, size_t meterCount) {
    struct Record record = {.slaveAddress = meter->slaveAddress & 0xFF};
    logMatch(meter, model);
    clock_gettime(CLOCK_REALTIME, &record.lastChanged);
    for (size_t i = 0; i < model->count; ++i) {
        if (model->registers[i].field == serialField)
            takeAttachedSerial(&record, meters, meterCount);
        else
            readRegister(&record, &model->registers[i]);
    }
    logRecord(&record);
    sendRecord(&record);
}

static void cycleMeters(json_object* attached, json_object* supported) {
    const size_t meterCount = lengthOf(attached);
    const size_t modelCount = lengthOf(supported);
    struct Meter* meters = calloc(meterCount + 1, sizeof *meters);
    struct Model* models = calloc(modelCount + 1, sizeof *models);
    for (size_t i = 0; i < meterCount; ++i)
        meters[i] = parseMeter(json_object_array_get_idx(attached, i));
    for (size_t i = 0; i < modelCount; ++i)
        models[i] = parseModel(json_object_array_get_idx(supported, i));
    SERIAL_LINE("Cycling meters");
    for (size_t i = 0; i < meterCount; ++i)
        for (size_t k = 0; k < modelCount; ++k)
            if (strcmp(meters[i].configId, models[k].id) == 0)
                readMeter(&meters[i], &models[k], meters, meterCount);
    for (size_t i = 0; i < modelCount; ++i)
        free(models[i].registers);
    free(models);
    free(meters);
}

static void readAll(void) {
    const struct Body attached = get(BASE_URL "attached");
    SERIAL_LINE("Attached Meters result:%s", attached.data);
    const struct Body supported = get(BASE_URL "config/supported");
    SERIAL_LINE("Supported Meters result:%s", supported.data);
    json_object* attachedReply = parse(attached);
    json_object* supportedReply = parse(supported);
    cycleMeters(member(attachedReply, "data"), member(supportedReply, "data"));
    json_object_put(attachedReply);
    json_object_put(supportedReply);
    free(attached.data);
    free(supported.data);
}

int main(int argc, char** argv) {
    logging = argc == 2 && strcmp(argv[1], "--log") == 0;
    if (argc > 1 && !logging) {
        fprintf(stderr, "usage: floor [--log]\n");
        return 2;
    }
    for (;;) {
        MAIN_LINE("retry timer m_timer.expiry():%g error_code:Success", (double)time(NULL));
        MAIN_LINE("callback ec:Success");
        querySerialConfig();
        readAll();
        sleep(1);
    }
}
