# Completion of quenmark-webservice(1) for fish.

complete --command quenmark-webservice --no-files
complete --command quenmark-webservice --short-option h --long-option help --description 'Print the help and exit'
complete --command quenmark-webservice --long-option version --description 'Print the version and exit'
complete --command quenmark-webservice --long-option listen --exclusive \
    --description 'Address and port; port 0 takes a free one'
complete --command quenmark-webservice --long-option data --exclusive --arguments '(__fish_complete_directories)' \
    --description 'Folder for the state and the files; made if missing'
complete --command quenmark-webservice --long-option faults --require-parameter --force-files \
    --description 'Plan of the faults to begin with'
complete --command quenmark-webservice --long-option tls-certificate --require-parameter --force-files \
    --description 'Certificate in PEM, for HTTPS'
complete --command quenmark-webservice --long-option tls-key --require-parameter --force-files \
    --description 'Its key in PEM, without a passphrase'
