target_sources(Platform PRIVATE
  UrlLoading/HeaderFields.cpp
  UrlLoading/Url.cpp
  UrlLoading/UrlRequest.cpp
)
