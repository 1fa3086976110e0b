#include "model/JsonFields.h"

namespace json {

bool mismatch(JsonReader& r, const char* problem) {
    r.skipValue();
    r.noteProblem(problem);
    return false;
}

bool readValue(JsonReader& r, qint64& out) {
    if (r.peek() != JsonReader::Type::Number) return mismatch(r, "is not a number");
    const JsonReader::Number n = r.readNumber();
    if (!n.integral) {
        r.noteProblem("is not an integer");
        return false;
    }
    out = n.integer;
    return true;
}

bool readValue(JsonReader& r, double& out) {
    if (r.peek() != JsonReader::Type::Number) return mismatch(r, "is not a number");
    out = r.readNumber().toDouble();
    return true;
}

bool readValue(JsonReader& r, bool& out) {
    if (r.peek() != JsonReader::Type::Bool) return mismatch(r, "is not a boolean");
    out = r.readBool();
    return true;
}

bool readValue(JsonReader& r, QString& out) {
    if (r.peek() != JsonReader::Type::String) return mismatch(r, "is not a string");
    out = r.readString();
    return true;
}

} // namespace json
