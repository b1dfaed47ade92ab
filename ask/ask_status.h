#pragma once
// How zor_ask ends.

enum AskStatus : int {
    kStatusAnswered = 0,
    kStatusNoConnection = 1,
    kStatusUsage = 2,
    kStatusNoAnswer = 3,
    kStatusLost = 4,
};
