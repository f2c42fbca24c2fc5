#pragma once

#include <QString>

#include <stdexcept>

namespace platform {

// An error the program reports to the user: a number where the failure has a well-known one
// (the numbers users and support staff know from the original program), and a readable text.
class AppError : public std::runtime_error {
public:
    AppError(int number, const QString& description);

    int number() const { return number_; }
    const QString& description() const { return description_; }

private:
    int number_;
    QString description_;
};

// Numbers of the errors the program raises itself.
namespace err {
inline constexpr int Overflow = 6;
inline constexpr int TypeMismatch = 13;
inline constexpr int InvalidUseOfNull = 94;
inline constexpr int InvalidPropertyValue = 380;
inline constexpr int ItemNotFound = 3265;    // no such field in a record set
inline constexpr int NoCurrentRecord = 3021; // read or edit before the first or after the last row
inline constexpr int RecordDeleted = 3167;   // the current row was deleted
inline constexpr int UpdateWithoutEdit = 3020;
inline constexpr int DuplicateKey = 3022;
inline constexpr int FileNotFound = 3024;
inline constexpr int FileLocked = 3045;
inline constexpr int TableNotFound = 3078;
inline constexpr int SyntaxError = 3075;
inline constexpr int InvalidFieldType = 3259;
inline constexpr int UnrecognizedFormat = 3343;
inline constexpr int ReadOnly = 3027;
inline constexpr int DatabaseError = 3146;        // any other engine failure
inline constexpr int ServerUnreachable = 3151;    // connecting failed, or the connection was lost
inline constexpr int NoPermission = 3112;         // the server's account may not do this
inline constexpr int QuickBooksUnavailable = 429; // the request processor cannot be created
inline constexpr int QuickBooksFailed = 440;      // the request processor refused a call
} // namespace err

} // namespace platform
