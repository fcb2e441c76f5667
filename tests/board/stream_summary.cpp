// Reads the tool's status stream on standard input, parses every line as a
// JSON object and prints one line per object that a scenario can compare:
//   start <board> <os> <app>
//   begin|end <phase> [<of>] [all <total> bytes]
//   outcome <outcome> <result> [<phase>]
// Progress objects are checked, not printed: their bytes must grow, stay
// below the phase's total, and a phase must end with all of them done. What
// breaks a rule is printed as a line starting with "bad".
// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <json-c/json.h>
#include <string>

namespace {

std::string text(json_object* object, const char* key)
{
    json_object* value = nullptr;
    return json_object_object_get_ex(object, key, &value) ? json_object_get_string(value) : "";
}

int64_t number(json_object* object, const char* key)
{
    json_object* value = nullptr;
    return json_object_object_get_ex(object, key, &value) ? json_object_get_int64(value) : -1;
}

std::string phase_line(json_object* object, const std::string& state, int64_t* last_done)
{
    const int64_t done = number(object, "done");
    const int64_t total = number(object, "total");
    std::string line = (state == "begin" ? "begin " : "end ") + text(object, "phase");
    if (!text(object, "of").empty()) {
        line += " " + text(object, "of");
    }
    if (state == "begin") {
        *last_done = 0;
        return done > 0 ? "bad begin with bytes done: " + line : line;
    }
    if (total >= 0 && done != total) {
        return "bad end before all bytes: " + line;
    }
    return total >= 0 ? line + " all " + std::to_string(total) + " bytes" : line;
}

} // namespace

int main()
{
    int64_t last_done = 0;
    for (std::string line; std::getline(std::cin, line);) {
        json_object* object = json_tokener_parse(line.c_str());
        const std::string event = object != nullptr ? text(object, "event") : "";
        if (event == "start") {
            std::cout << "start " << text(object, "board") << " " << text(object, "os") << " "
                      << text(object, "app") << "\n";
        } else if (event == "phase") {
            std::cout << phase_line(object, text(object, "state"), &last_done) << "\n";
        } else if (event == "progress") {
            const int64_t done = number(object, "done");
            if (done <= last_done || done >= number(object, "total")) {
                std::cout << "bad progress: " << line << "\n";
            }
            last_done = done;
        } else if (event == "outcome") {
            std::cout << "outcome " << text(object, "outcome") << " " << number(object, "result");
            std::cout << (text(object, "phase").empty() ? "" : " " + text(object, "phase")) << "\n";
        } else {
            std::cout << "bad object: " << line << "\n";
        }
        json_object_put(object);
    }
    return 0;
}
