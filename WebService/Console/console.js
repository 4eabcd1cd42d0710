"use strict";
fetch("/api/service").then(response => response.text()).then(text => {
    document.getElementById("service").textContent = text;
});
