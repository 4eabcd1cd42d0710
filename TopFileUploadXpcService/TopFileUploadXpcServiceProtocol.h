#pragma once

namespace Quenmark {

/// All that the desktop application can ask of the service.
class TopFileUploadXpcServiceProtocol {
public:
    virtual ~TopFileUploadXpcServiceProtocol() = default;
    /// Starts the poll cycle. It has no arguments and no result.
    virtual void GetTopFileUpload() = 0;
};

} // namespace Quenmark
