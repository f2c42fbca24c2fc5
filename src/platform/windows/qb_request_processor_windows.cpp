// QuickBooks' request processor on Windows: the SDK's COM object "QBXMLRP2.RequestProcessor",
// driven through IDispatch (OpenConnection2, BeginSession, ProcessRequest, EndSession,
// CloseConnection), so that no type library of the SDK is needed to build.
#include "platform/app_error.h"
#include "platform/qb_request_processor.h"

#include <QString>

#include <array>

// windows.h first: the COM headers build on it.
// clang-format off
#include <windows.h>
#include <oleauto.h>
// clang-format on

namespace platform {

namespace {

constexpr HRESULT kNotRunning = static_cast<HRESULT>(0x80040416);
constexpr HRESULT kNotAuthorised = static_cast<HRESULT>(0x80040418);
constexpr HRESULT kHeldByAnotherApplication = static_cast<HRESULT>(0x80040422);
constexpr int kLocalQuickBooks = 1;   // QBXMLRPConnectionType: QuickBooks on this computer
constexpr int kOpenModeDoNotCare = 2; // QBFileMode: single- or multi-user, as it is open

QString hex(HRESULT result) {
    return QStringLiteral("0x%1").arg(static_cast<quint32>(result), 8, 16, QLatin1Char('0'));
}

// What a failed call means for the user, and what to do about it.
[[noreturn]] void fail(HRESULT result, const QString& call, const QString& detail) {
    QString text;
    switch (result) {
    case kNotRunning:
        text = QStringLiteral("QuickBooks is not running with a company file open. Start "
                              "QuickBooks, open the company file, and try again.");
        break;
    case kNotAuthorised:
        text = QStringLiteral("QuickBooks has not allowed Orvane Translator to read the company "
                              "file. Open the file in QuickBooks as its administrator, try again "
                              "and answer QuickBooks' question with \"Yes, always\" (or allow the "
                              "program under Edit > Preferences > Integrated Applications).");
        break;
    case kHeldByAnotherApplication:
        text = QStringLiteral("Another application is working with the company file through "
                              "QuickBooks and holds it for itself. Close that application (or "
                              "let it finish), then try again.");
        break;
    default:
        text = QStringLiteral("QuickBooks' request processor failed in %1 (%2)%3.")
                   .arg(call, hex(result),
                        detail.isEmpty() ? QString() : QStringLiteral(": ") + detail);
        break;
    }
    throw AppError(err::QuickBooksFailed, text);
}

// The failure an Automation server reports through EXCEPINFO: it may leave the details to be
// filled in on demand, and tells them either as an HRESULT or as a 16-bit code of the interface's
// own (QuickBooks' 0x8004xxxx errors). An exception always is a failure, even one that tells no
// code at all.
HRESULT failureOf(EXCEPINFO& exception) {
    if (exception.pfnDeferredFillIn)
        exception.pfnDeferredFillIn(&exception);
    if (FAILED(exception.scode))
        return exception.scode;
    if (exception.wCode != 0)
        return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, exception.wCode);
    return DISP_E_EXCEPTION;
}

// One argument of a call, freed with the object.
class Argument {
public:
    explicit Argument(const QString& text) {
        VariantInit(&value_);
        value_.vt = VT_BSTR;
        value_.bstrVal = SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.utf16()),
                                           static_cast<UINT>(text.size()));
    }
    explicit Argument(int number) {
        VariantInit(&value_);
        value_.vt = VT_I4;
        value_.lVal = number;
    }
    ~Argument() { VariantClear(&value_); }
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;

    const VARIANT& variant() const { return value_; }

private:
    VARIANT value_;
};

// COM on this thread for the lifetime of the object (Qt may have started it already).
class ComApartment {
public:
    ComApartment()
        : result_(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
    ~ComApartment() {
        if (SUCCEEDED(result_))
            CoUninitialize();
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

private:
    HRESULT result_;
};

class WindowsRequestProcessor final : public QbRequestProcessor {
public:
    WindowsRequestProcessor() {
        CLSID id{};
        if (FAILED(CLSIDFromProgID(L"QBXMLRP2.RequestProcessor", &id)))
            throw AppError(err::QuickBooksUnavailable,
                           QStringLiteral("QuickBooks' request processor (QBXMLRP2) is not "
                                          "installed. Install QuickBooks, or the QuickBooks SDK "
                                          "request processor that matches this program (the "
                                          "64-bit one for a 64-bit program)."));
        const HRESULT created = CoCreateInstance(id, nullptr, CLSCTX_ALL, IID_IDispatch,
                                                 reinterpret_cast<void**>(&dispatch_));
        if (FAILED(created))
            fail(created, QStringLiteral("creating QBXMLRP2.RequestProcessor"), QString());
    }
    ~WindowsRequestProcessor() override {
        endSession();
        if (dispatch_)
            dispatch_->Release();
    }
    WindowsRequestProcessor(const WindowsRequestProcessor&) = delete;
    WindowsRequestProcessor& operator=(const WindowsRequestProcessor&) = delete;

    void beginSession(const QString& companyFile) override {
        const Argument appId{QString()};
        const Argument appName{QStringLiteral("Orvane Translator")};
        const Argument connection{kLocalQuickBooks};
        call(L"OpenConnection2", {&appId, &appName, &connection});
        connected_ = true;
        const Argument file{companyFile};
        const Argument mode{kOpenModeDoNotCare};
        ticket_ = call(L"BeginSession", {&file, &mode});
    }

    QString processRequest(const QString& request) override {
        const Argument ticket{ticket_};
        const Argument text{request};
        return call(L"ProcessRequest", {&ticket, &text});
    }

    void endSession() override {
        try {
            if (!ticket_.isEmpty()) {
                const Argument ticket{ticket_};
                ticket_.clear();
                call(L"EndSession", {&ticket});
            }
            if (connected_) {
                connected_ = false;
                call(L"CloseConnection", {});
            }
        } catch (const AppError&) {
            // The session ends with the object all the same.
        }
    }

private:
    // Calls a method by name with the arguments in order; gives a text result, if any.
    QString call(const wchar_t* name, std::initializer_list<const Argument*> arguments) {
        DISPID member = 0;
        LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
        HRESULT result = dispatch_->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &member);
        if (FAILED(result))
            fail(result, QString::fromWCharArray(name), QString());
        // IDispatch takes the arguments last first.
        std::array<VARIANT, 4> reversed{};
        UINT count = 0;
        for (auto it = std::rbegin(arguments); it != std::rend(arguments); ++it)
            reversed[count++] = (*it)->variant();
        DISPPARAMS parameters{reversed.data(), nullptr, count, 0};
        VARIANT answer;
        VariantInit(&answer);
        EXCEPINFO exception{};
        result = dispatch_->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                   &parameters, &answer, &exception, nullptr);
        QString detail;
        if (result == DISP_E_EXCEPTION) {
            result = failureOf(exception);
            if (exception.bstrDescription)
                detail = QString::fromWCharArray(exception.bstrDescription);
        }
        SysFreeString(exception.bstrSource);
        SysFreeString(exception.bstrDescription);
        SysFreeString(exception.bstrHelpFile);
        if (FAILED(result)) {
            VariantClear(&answer);
            fail(result, QString::fromWCharArray(name), detail);
        }
        QString text;
        if (answer.vt == VT_BSTR && answer.bstrVal)
            text = QString::fromWCharArray(answer.bstrVal, SysStringLen(answer.bstrVal));
        VariantClear(&answer);
        return text;
    }

    ComApartment apartment_;
    IDispatch* dispatch_ = nullptr;
    bool connected_ = false;
    QString ticket_;
};

} // namespace

std::unique_ptr<QbRequestProcessor> systemQbRequestProcessor() {
    return std::make_unique<WindowsRequestProcessor>();
}

} // namespace platform
