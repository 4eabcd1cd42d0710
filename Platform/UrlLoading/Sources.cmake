target_sources(Platform PRIVATE
  UrlLoading/Challenge.cpp
  UrlLoading/DownloadedFile.cpp
  UrlLoading/HeaderFields.cpp
  UrlLoading/HttpLoad.cpp
  UrlLoading/HttpSession.cpp
  UrlLoading/HttpSessionTask.cpp
  UrlLoading/RequestHead.cpp
  UrlLoading/ResponseHead.cpp
  UrlLoading/SocketBody.cpp
  UrlLoading/Transfer.cpp
  UrlLoading/TransferDriver.cpp
  UrlLoading/Url.cpp
  UrlLoading/UrlConnection.cpp
  UrlLoading/UrlRequest.cpp
  UrlLoading/UrlSession.cpp
)
