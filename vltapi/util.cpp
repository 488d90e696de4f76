#include "vltapi/util.h"

#include <string.h>
#include <time.h>

#include <cctype>

namespace vlt {

bool copyField(char* dst, size_t size, const std::string& src) {
    if (src.size() + 1 > size) {
        if (size > 0) dst[0] = '\0';
        return false;
    }
    memcpy(dst, src.c_str(), src.size() + 1);
    return true;
}

void copyTruncated(char* dst, size_t size, const std::string& src) {
    if (size == 0) return;
    size_t n = src.size() < size - 1 ? src.size() : size - 1;
    memcpy(dst, src.data(), n);
    dst[n] = '\0';
}

std::string str(const char* s) {
    return s ? std::string(s) : std::string();
}

size_t boundedLen(const char* s, size_t limit) {
    return strnlen(s, limit + 1);
}

std::string upper(std::string s) {
    for (char& c : s) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return s;
}

std::string trim(const std::string& s) {
    size_t b = 0, e = s.size();
    while (b < e && isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    return s.substr(b, e - b);
}

static int64_t pack(int y, int mo, int d, int h, int mi, int s) {
    return ((((static_cast<int64_t>(y) * 100 + mo) * 100 + d) * 100 + h) * 100 + mi) * 100 + s;
}

int64_t dateFromTime(int64_t unixSeconds) {
    time_t t = static_cast<time_t>(unixSeconds);
    struct tm tmv;
    localtime_r(&t, &tmv);
    return pack(tmv.tm_year + 1900, tmv.tm_mon + 1, tmv.tm_mday, tmv.tm_hour, tmv.tm_min,
                tmv.tm_sec);
}

int64_t nowDate() {
    return dateFromTime(static_cast<int64_t>(time(nullptr)));
}

int64_t dateFromRvk(const rvkDate& d) {
    if (d.year == 0 && d.month == 0 && d.day == 0 && d.hour == 0 && d.minute == 0 && d.second == 0)
        return 0;
    return pack(d.year, d.month, d.day, d.hour, d.minute, d.second);
}

void dateToRvk(int64_t v, rvkDate* d) {
    memset(d, 0, sizeof *d);
    if (v <= 0) return;
    d->second = static_cast<uint8_t>(v % 100);
    v /= 100;
    d->minute = static_cast<uint8_t>(v % 100);
    v /= 100;
    d->hour = static_cast<uint8_t>(v % 100);
    v /= 100;
    d->day = static_cast<uint8_t>(v % 100);
    v /= 100;
    d->month = static_cast<uint8_t>(v % 100);
    v /= 100;
    d->year = static_cast<uint16_t>(v);
}

static int daysIn(int y, int m) {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (m == 2 && ((y % 4 == 0 && y % 100 != 0) || y % 400 == 0)) return 29;
    return days[m - 1];
}

bool validDate(int64_t v) {
    int s = static_cast<int>(v % 100), mi = static_cast<int>(v / 100 % 100),
        h = static_cast<int>(v / 10000 % 100);
    int d = static_cast<int>(v / 1000000 % 100), mo = static_cast<int>(v / 100000000 % 100);
    int64_t y = v / 10000000000LL;
    if (y < 1 || y > 9999 || mo < 1 || mo > 12 || h > 23 || mi > 59 || s > 59) return false;
    return d >= 1 && d <= daysIn(static_cast<int>(y), mo);
}

int64_t parseDateText(const std::string& t) {
    // Exactly "YYYY-MM-DD HH:MM:SS".
    static const char shape[] = "dddd-dd-dd dd:dd:dd";
    if (t.size() != sizeof shape - 1) return 0;
    for (size_t i = 0; i < t.size(); ++i) {
        if (shape[i] == 'd' ? !isdigit(static_cast<unsigned char>(t[i])) : t[i] != shape[i])
            return 0;
    }
    auto num = [&](size_t pos, size_t len) { return std::stoi(t.substr(pos, len)); };
    int64_t v = pack(num(0, 4), num(5, 2), num(8, 2), num(11, 2), num(14, 2), num(17, 2));
    return validDate(v) ? v : 0;
}

std::string formatDate(int64_t v) {
    if (v <= 0) return "";
    rvkDate d;
    dateToRvk(v, &d);
    char buf[32];
    snprintf(buf, sizeof buf, "%04u-%02u-%02u %02u:%02u:%02u", d.year, d.month, d.day, d.hour,
             d.minute, d.second);
    return buf;
}

uint64_t u64FromRvk(const rvkU64& v) {
    return (static_cast<uint64_t>(v.hi) << 32) | v.lo;
}

rvkU64 u64ToRvk(uint64_t v) {
    rvkU64 r;
    r.hi = static_cast<uint32_t>(v >> 32);
    r.lo = static_cast<uint32_t>(v & 0xffffffffu);
    return r;
}

}  // namespace vlt
