#!/bin/sh
# Makes the box's TLS files once into DIR: a CA (ca.pem), a server
# certificate of that CA for 127.0.0.1 and localhost (server.pem,
# server.key), and a self-signed certificate for the same names
# (selfsigned.pem, selfsigned.key). Files already there are kept.
set -eu
dir=$1
mkdir -p "$dir"
cd "$dir"
[ -s server.pem ] && [ -s selfsigned.pem ] && exit 0
names="subjectAltName=IP:127.0.0.1,DNS:localhost"
openssl req -x509 -newkey rsa:2048 -nodes -days 36500 -subj "/CN=phonebox CA" \
  -keyout ca.key -out ca.pem 2>/dev/null
openssl req -newkey rsa:2048 -nodes -subj "/CN=127.0.0.1" -addext "$names" \
  -keyout server.key -out server.csr 2>/dev/null
openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 36500 \
  -copy_extensions copyall -out server.pem 2>/dev/null
openssl req -x509 -newkey rsa:2048 -nodes -days 36500 -subj "/CN=127.0.0.1" -addext "$names" \
  -keyout selfsigned.key -out selfsigned.pem 2>/dev/null
rm -f server.csr
