#pragma once

#include <cstdint>
#include <string>

class CharString {
  public:
    static constexpr std::uint16_t kFailChar = 1;
    static constexpr std::uint16_t kFailInteger = 2;
    static constexpr std::uint16_t kFailText = 8;
    static constexpr std::uint16_t kFailFile = 16;

    CharString() = default;
    CharString(int size, int grow);
    CharString(const char* s);
    CharString(const CharString& other);
    CharString(const char* path, const char* mode);
    ~CharString() = default;

    void operator=(const CharString& other);
    void operator=(const char* s);
    void operator=(char c);

    void operator+=(char c);
    void operator+=(const CharString& other);
    void operator+=(const char* s);

    CharString& operator<<(const CharString& other);
    CharString& operator<<(const char* s);
    CharString& operator<<(char c);
    CharString& operator<<(unsigned char value);
    CharString& operator<<(short value);
    CharString& operator<<(unsigned short value);
    CharString& operator<<(int value);
    CharString& operator<<(unsigned int value);
    CharString& operator<<(long value);
    CharString& operator<<(unsigned long value);
    CharString& operator<<(long long value);
    CharString& operator<<(float value);

    int length() const { return static_cast<int>(len); }
    const char* c_str() const { return text.c_str(); }
    short good() const { return state == 0; }
    unsigned getChar(int i) const;
    void setChar(int i, char c);
    void dump() const;

    int find(char c, int from) const;
    int find(const char* s, int from) const;
    int find(const CharString& s, int from) const;
    short contains(const char* s) const;
    short contains(const CharString& s) const;

    CharString rightFrom(int pos) const;
    CharString leftTo(int n) const;
    CharString subRange(int from, int to) const;
    CharString fromChar(char c) const;
    CharString afterChar(char c) const;
    CharString beforeChar(char c) const;
    CharString throughChar(char c) const;
    void eraseRange(int pos, int n);

    short operator==(const CharString& other) const;
    short operator<(const CharString& other) const;

    CharString& operator>>(char* dst);
    CharString& operator>>(char& c);
    CharString& operator>>(int& value);
    CharString& operator>>(short& value);
    CharString* split(short& count, char delim) const;
    void replaceText(const char* from, const char* to, int max);

  protected:
    std::uint32_t len = 0;
    std::uint16_t state = 0;
    std::string text;
};
