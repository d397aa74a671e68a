// Shows the panel of the vesk that serves this page: the picture comes over a
// WebSocket on the same port as the page.
'use strict';
(function () {
    var status = document.getElementById('status');
    var login = document.getElementById('login');
    var port = window.location.port || (window.location.protocol === "https:" ? 443 : 80);
    var scheme = window.location.protocol === 'https:' ? 'wss://' : 'ws://';
    var rfb = new window.noVNC_RFB(document.getElementById('screen'),
                                   scheme + window.location.hostname + ':' + port + '/', { shared: true });
    // One panel pixel per screen pixel: the picture is what the panel shows.
    rfb.scaleViewport = false;
    rfb.resizeSession = false;
    rfb.addEventListener('connect', function () { status.textContent = 'Connected'; });
    var refused = false;
    rfb.addEventListener('disconnect', function (e) {
        // A refusal says more than the end of the connection that follows it.
        if (!refused) status.textContent = e.detail.clean ? 'Disconnected' : 'Connection lost';
    });
    rfb.addEventListener('securityfailure', function (e) {
        refused = true;
        status.textContent = 'Refused: ' + (e.detail.reason || 'wrong password');
    });
    rfb.addEventListener('credentialsrequired', function () {
        status.textContent = 'Password needed';
        login.style.display = 'block';
        document.getElementById('password').focus();
    });
    login.addEventListener('submit', function (e) {
        e.preventDefault();
        login.style.display = 'none';
        rfb.sendCredentials({ password: document.getElementById('password').value });
    });
    // For tests and the curious: the connection object.
    window.vesk_rfb = rfb;
})();
