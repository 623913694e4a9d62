# The program. Everything heavy that only some servers use (sound, speech) is a program of its own.
find_package(OpenSSL 3.0 REQUIRED)
find_package(CURL 7.85 REQUIRED)
add_executable(tolvik-server main.cpp service.cpp open_storage.cpp resources.cpp)
target_compile_definitions(tolvik-server PRIVATE TOLVIK_VERSION="${PROJECT_VERSION}")
target_link_libraries(tolvik-server PRIVATE tolvik_options tolvik_server_api tolvik_server_net tolvik_server_tls
    tolvik_server_hub tolvik_server_config tolvik_server_dispatch tolvik_server_observe tolvik_server_mail
    tolvik_server_speech tolvik_server_model
    tolvik_sqlite tolvik_sqlite_server tolvik_system OpenSSL::Crypto CURL::libcurl nlohmann_json::nlohmann_json fmt::fmt)
if(TARGET tolvik_postgres)
    target_link_libraries(tolvik-server PRIVATE tolvik_postgres)
    target_compile_definitions(tolvik-server PRIVATE TOLVIK_HAS_POSTGRES)
endif()
if(TARGET tolvik-transcribe)
    add_dependencies(tolvik-server tolvik-transcribe tolvik-speech)
endif()
